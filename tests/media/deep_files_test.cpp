// Deep pictures through the encoders: what each kind of file says it holds, and what comes back.
#include <gtest/gtest.h>

#include <array>
#include <cmath>
#include <set>

#include "media/output/delivery.h"
#include "media/output/prores_alpha.h"
#include "media/output/writer.h"
#include "media/pixels/frame_converter.h"
#include "media/probe/float_levels.h"
#include "sample/test_images.h"
#include "tests/support/run_program.h"
#include "tests/support/scratch_folder.h"

namespace {

using namespace kalvetra;
using kalvetra::test::need;
using kalvetra::test::ScratchFolder;

constexpr int kCodes = 1024, kHeight = 32;
const std::atomic<bool> kNever{false};

// Above, all codes of 10 bits in limited range, opaque; below, a colour whose alpha takes levels of 12 bits that 10
// lack.
Image ramps() {
  Image image(kCodes, kHeight, PixelFormat::RgbaF32);
  for (int y = 0; y < kHeight; ++y) {
    float* pixel = image.floats(y);
    for (int x = 0; x < kCodes; ++x, pixel += 4) {
      const bool opaque = y < kHeight / 2;
      const float grey = static_cast<float>(x - 64) / 876.0f;
      const std::array<float, 3> color = opaque ? std::array{grey, grey, grey} : std::array{0.75f, 0.5f, 0.25f};
      std::copy_n(color.begin(), 3, pixel);
      pixel[3] = opaque ? 1.0f : static_cast<float>(4 * x + 2) / 4095.0f;
    }
  }
  return image;
}

struct Written {
  Image image;
  std::string pixelFormat;  // as ffprobe names it
};

Written written(const DeliveryRequest& request, const ScratchFolder& folder) {
  const std::string path = folder.path(request.path), clip = folder.path("clip.mov");
  need(
      "ffmpeg -nostdin -v error -y -f lavfi -i color=s=1024x32:d=0.04 -c:v libx264 -colorspace bt709 -color_primaries "
      "bt709 -color_trc iec61966-2-1 -color_range tv " +
      clip);
  const Delivery delivery = chooseDelivery(request);
  av_log_set_level(AV_LOG_QUIET);
  TemporaryOutput output(path, true);
  Reader source(clip, 1, kNever);
  const PicturePacking packing(delivery, source.format());
  Writer writer(delivery, output, path, source, 2);
  writer.write(writer.pack(ramps()), {0, 1, 1});
  writer.finish();
  output.commit();
  SourceOptions options;
  if (delivery.format->bare) options.raw = packing.asRaw();
  Reader reader(path, options, 1, kNever);
  SourceFrame frame;
  EXPECT_TRUE(reader.next(frame));
  const ConversionOptions conversion{.deep = true, .premultiplied = delivery.alpha == AlphaMode::Premultiplied};
  return {FrameConverter(reader.format().color, conversion).convert(*frame.picture),
          options.raw ? "" : need("ffprobe -v error -of csv=p=0 -show_entries stream=pix_fmt " + path)};
}

TEST(DeepFiles, HoldTheLevelsTheyClaim) {
  const double exact = 1e-7, tenBits = 0.5 / 1023, sixteenBits = 0.5 / 65535, half = 1.0 / 2048;
  const struct {
    DeliveryRequest request;
    std::string pixelFormat;
    double color, alpha;  // largest error
    bool clipped;         // holds 0..1 alone
  } kinds[] = {
      {{.path = "a.mov", .depth = 16}, "yuva444p12le", 1.5 / 876, 1.0 / 4095, false},
      {{.path = "a.mkv", .depth = 16}, "gbrap16le", sixteenBits, sixteenBits, true},
      {{.path = "b.mkv", .depth = 10}, "gbrap10le", tenBits, tenBits, true},
      {{.path = "c.mkv"}, "bgra", 1.0 / 255, 0.5 / 255, true},
      {{.path = "a.png", .depth = 10}, "rgba64be", sixteenBits, sixteenBits, true},
      {{.path = "a.nut", .depth = 16}, "rgba64le", sixteenBits, sixteenBits, true},
      {{.path = "a.rgba64", .depth = 16}, "", sixteenBits, sixteenBits, true},
      {{.path = "a.rgbaf32", .depth = 16}, "", exact, exact, false},
      {{.path = "a.exr", .depth = 32}, "gbrapf32le", half, half, false},
      {{.path = "b.exr", .codec = "exr32", .depth = 32}, "gbrapf32le", 1e-6, exact, false},
  };
  const Image wanted = ramps();
  for (const auto& kind : kinds) {
    SCOPED_TRACE(kind.request.path);
    const ScratchFolder folder;
    const Written file = written(kind.request, folder);
    EXPECT_EQ(kind.pixelFormat, file.pixelFormat.substr(0, kind.pixelFormat.size()));
    ASSERT_EQ(kCodes, file.image.width);
    double color = 0.0, alpha = 0.0;
    std::set<float> greys;
    for (int x = 0; x < kCodes; ++x) {
      const float grey = wanted.floats(8)[4 * x + 1], seen = file.image.floats(8)[4 * x + 1];
      color = std::max<double>(color, std::abs(seen - (kind.clipped ? std::clamp(grey, 0.0f, 1.0f) : grey)));
      alpha = std::max<double>(alpha, std::abs(file.image.floats(24)[4 * x + 3] - wanted.floats(24)[4 * x + 3]));
      greys.insert(seen);
    }
    for (int c = 0; c < 3; ++c) {
      EXPECT_NEAR(wanted.floats(24)[4000 + c], file.image.floats(24)[4000 + c], 0.005) << "where alpha is almost full";
    }
    EXPECT_LE(color, kind.color + 1e-7);
    EXPECT_LE(alpha, kind.alpha + 1e-7);
    const bool lossless = kind.request.depth > 8 && kind.request.path != "a.mov";
    EXPECT_GE(greys.size(), !lossless ? 200u : kind.clipped ? 877u : 1024u);
  }
}

Image noisyAlpha(int width, int height) {
  Image image(width, height, PixelFormat::RgbaF32);
  const std::vector<unsigned char> noise = kalvetra::test::noise(2 * width * height, 11);
  for (std::size_t i = 0; i < noise.size() / 2; ++i) {
    std::fill_n(image.floats(0) + 4 * i, 3, 0.5f);
    // Runs, small steps and leaps.
    const int level = i % 9 < 4 ? 40000 : i % 9 < 7 ? 40000 + noise[i] % 64 : noise[2 * i] * 256 + noise[2 * i + 1];
    image.floats(0)[4 * i + 3] = static_cast<float>(level) / 65535.0f;
  }
  return image;
}

std::vector<PacketPtr> proresOf(const Image& image, FieldOrder fields, unsigned int& tag) {
  PictureFormat pictures;
  pictures.width = image.width;
  pictures.height = image.height;
  pictures.fieldOrder = fields;
  const ColorTags color{AVCOL_SPC_BT709, AVCOL_RANGE_MPEG, AVCOL_PRI_BT709, AVCOL_TRC_BT709};
  VideoEncoder encoder(outputFormatNamed("prores4444"), AV_PIX_FMT_YUVA444P10, pictures, color, 1, false);
  tag = encoder.context().codec_tag;
  const FramePacker packer(AV_PIX_FMT_YUVA444P10, AVCOL_SPC_BT709, AlphaMode::Straight, AVCOL_TRC_BT709,
                           {.deep = true, .wideAlpha = true});
  std::vector<PacketPtr> packets;
  const auto keep = [&](AVPacket& packet) { packets.emplace_back(av_packet_clone(&packet)); };
  encoder.encode(packer.pack(image), 0, 1, keep);
  encoder.flush(keep);
  return packets;
}

// FFmpeg's decoder gives the upper 12 of the 16 bits.
TEST(ProresAlpha, ComesBackInEverySizeAndInFields) {
  for (const auto& [width, height] : {std::pair{16, 16}, {50, 33}, {130, 40}, {50, 35}, {301, 67}}) {
    const Image image = noisyAlpha(width, height);
    for (const FieldOrder fields : {FieldOrder::Progressive, FieldOrder::TopFirst, FieldOrder::BottomFirst}) {
      unsigned int tag = 0;
      const std::vector<PacketPtr> packets = proresOf(image, fields, tag);
      const CodecContextPtr decoder(avcodec_alloc_context3(avcodec_find_decoder(AV_CODEC_ID_PRORES)));
      decoder->codec_tag = tag;
      const FramePtr frame = makeFrame();
      ASSERT_TRUE(avcodec_open2(decoder.get(), nullptr, nullptr) == 0 &&
                  avcodec_send_packet(decoder.get(), packets.at(0).get()) == 0 &&
                  avcodec_receive_frame(decoder.get(), frame.get()) == 0);
      ASSERT_EQ(AV_PIX_FMT_YUVA444P12, frame->format);
      for (int y = 0; y < height; ++y) {
        const auto* row = reinterpret_cast<const std::uint16_t*>(frame->data[3] + y * frame->linesize[3]);
        for (int x = 0; x < width; ++x) {
          ASSERT_EQ(std::lround(image.floats(y)[4 * x + 3] * 65535) >> 4, row[x]) << width << ": " << x << ", " << y;
        }
      }
    }
  }
}

TEST(ProresAlpha, NonsenseStaysAsItIs) {
  unsigned int tag = 0;
  const PacketPtr good = std::move(proresOf(noisyAlpha(50, 33), FieldOrder::TopFirst, tag).at(0));
  const std::vector<std::uint16_t> alpha(50 * 33, 7);
  const auto replaced = [&](const PacketPtr& packet) { return replaceProresAlpha(*packet, alpha.data(), 50, 33); };
  for (int i = 0; i < good->size; ++i) {
    const PacketPtr shorter(av_packet_clone(good.get())), changed(av_packet_clone(good.get()));
    shorter->size = i;
    EXPECT_FALSE(replaced(shorter)) << i;
    ASSERT_EQ(0, av_packet_make_writable(changed.get()));
    changed->data[i] ^= 0xFF;
    replaced(changed);  // either way, without reading beyond its end
  }
  EXPECT_TRUE(replaced(good));
}

TEST(DeepFiles, FloatsThatHoldLevelsAreNoticed) {
  const auto holds = [](auto value) {
    const FramePtr frame = makePicture(AV_PIX_FMT_GRAYF32, 16, 16);
    for (int i = 0; i < 256; ++i) {
      reinterpret_cast<float*>(frame->data[0] + i / 16 * frame->linesize[0])[i % 16] = value(static_cast<float>(i));
    }
    return holdsLevels(*frame);
  };
  EXPECT_TRUE(holds([](float i) { return i; }));
  EXPECT_TRUE(holds([](float i) { return i / 256 * 200.5f; }));
  EXPECT_FALSE(holds([](float i) { return i / 255; }));
  EXPECT_FALSE(holds([](float i) { return i < 250 ? i / 500 : 240.5f; })) << "a lamp in the picture";
  EXPECT_FALSE(holds([](float i) { return i < 128 ? 0.0f : 1.0f; })) << "a matte";
  EXPECT_FALSE(holds([](float i) { return i * 40; }));
}

}  // namespace
