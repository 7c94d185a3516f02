// What other programs read in each kind of file that can be written.
#include <gtest/gtest.h>

#include <cmath>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <iterator>

#include "media/output/delivery.h"
#include "media/output/writer.h"
#include "media/pixels/frame_converter.h"
#include "media/pixels/hidden_colors.h"
#include "support/user_error.h"
#include "tests/support/run_program.h"
#include "tests/support/scratch_folder.h"

namespace {

namespace fs = std::filesystem;
using namespace kalvetra;
using kalvetra::test::need;
using kalvetra::test::ScratchFolder;

constexpr auto kPremultiplied = AlphaMode::Premultiplied, kNone = AlphaMode::None;

constexpr int kWidth = 96, kHeight = 64, kFrames = 3;

// A clip with sound and timecode, and pictures as a keyer would make them of it.
struct Inputs {
  ScratchFolder folder;
  std::string clip = folder.path("clip.mov");
  std::vector<Image> keyed;
  Inputs() {
    need("ffmpeg -nostdin -v error -y -f lavfi -i testsrc=s=96x64:r=25:d=0.12 -f lavfi -i sine=d=0.12 -c:v libx264 " +
         std::string("-pix_fmt yuv420p -colorspace bt709 -color_primaries bt709 -color_trc bt709 -color_range tv ") +
         "-timecode 01:02:03:04 -c:a pcm_s16le " + clip);
    for (int i = 0; i < kFrames; ++i) keyed.push_back(picture(i));
  }
  // Smooth, so that lossy codecs keep it: alpha rises from left to right, colours from top to bottom.
  static Image picture(int number) {
    Image image(kWidth, kHeight);
    for (int y = 0; y < kHeight; ++y) {
      for (int x = 0; x < kWidth; ++x) {
        unsigned char* pixel = image.row(y) + 4 * x;
        pixel[0] = static_cast<unsigned char>(std::clamp((x - 16) * 4, 0, 255));
        pixel[1] = static_cast<unsigned char>(60 + 2 * y);
        pixel[2] = static_cast<unsigned char>(200 - 2 * y);
        pixel[3] = static_cast<unsigned char>(40 + 30 * number);
      }
    }
    return image;
  }
};

const Inputs& inputs() {
  static const Inputs made;
  return made;
}

void writeAll(const Delivery& delivery, const std::string& path, const std::vector<Image>& images,
              const std::string& clip = inputs().clip) {
  static const std::atomic<bool> never{false};
  av_log_set_level(AV_LOG_QUIET);
  TemporaryOutput output(path, false);
  Reader source(clip, 1, never);
  Writer writer(delivery, output, path, source, 2);
  SourceFrame frame;
  int number = 0;
  for (const Image& image : images) {
    ASSERT_TRUE(source.next(frame));
    writer.writeCopied(frame.copied);
    frame.copied.clear();
    writer.write(writer.pack(image), {frame.time, frame.duration, ++number});
  }
  writer.finish();
  output.commit();
}

std::vector<unsigned char> bytesOf(const std::string& path) {
  std::ifstream file(path, std::ios::binary);
  return {std::istreambuf_iterator<char>(file), {}};
}

// The pictures as ffmpeg sees them, converted to that pixel format.
std::vector<unsigned char> decoded(const std::string& input, const std::string& pixelFormat) {
  const ScratchFolder folder;
  need("ffmpeg -nostdin -v error " + input + " -map 0:v -fps_mode passthrough -pix_fmt " + pixelFormat +
       " -f rawvideo " + folder.path("pictures"));
  return bytesOf(folder.path("pictures"));
}

// As our own reader does, which rounds alpha where ffmpeg's scaler is off by one.
std::vector<unsigned char> read(const std::string& path) {
  static const std::atomic<bool> never{false};
  Reader reader(path, 1, never);
  FrameConverter converter(reader.format().color);
  std::vector<unsigned char> all;
  for (SourceFrame frame; reader.next(frame);) {
    const Image image = converter.convert(*frame.picture);
    all.insert(all.end(), image.bytes.begin(), image.bytes.end());
  }
  return all;
}

std::string probe(const std::string& entries, const std::string& file) {
  return need("ffprobe -v error -of compact=p=0 -show_entries " + entries + " " + file);
}

std::vector<unsigned char> expectedArgb(AlphaMode alpha, bool extended = false) {
  std::vector<unsigned char> all;
  for (Image image : inputs().keyed) {
    if (extended) image = withHiddenColorsExtended(image);
    for (std::size_t i = 0; i < image.bytes.size(); ++i) {
      unsigned char& byte = image.bytes[i];
      const int a = image.bytes[i / 4 * 4];
      if (alpha == kNone && i % 4 == 0) byte = 255;
      if (alpha == kPremultiplied && i % 4 != 0) byte = static_cast<unsigned char>(std::lround(byte * a / 255.0));
    }
    all.insert(all.end(), image.bytes.begin(), image.bytes.end());
  }
  return all;
}

double meanDifference(const std::vector<unsigned char>& a, const std::vector<unsigned char>& b, std::size_t first) {
  EXPECT_EQ(a.size(), b.size());
  double sum = 0;
  for (std::size_t i = first; i < std::min(a.size(), b.size()); i += 4) sum += std::abs(a[i] - b[i]);
  return sum / static_cast<double>(a.size() / 4);
}

void expectHas(const std::string& text, const std::string& part) {
  EXPECT_NE(std::string::npos, text.find(part)) << "'" << part << "' is missing in: " << text;
}

struct Exact {
  DeliveryRequest request;  // path: a name without folder
  std::string codec, pixelFormat;
};

TEST(Files, LosslessOnesComeBackExactly) {
  const std::vector<Exact> kinds{{{"s.mov", "", "animation"}, "qtrle", "argb"},
                                 {{"p.mov", "", "animation", kPremultiplied}, "qtrle", "argb"},
                                 {{"o.mov", "", "animation", {}, true}, "qtrle", "rgb24"},
                                 {{"s.mkv"}, "ffv1", "bgra"},
                                 {{"p.mkv", "", "", kPremultiplied}, "ffv1", "bgra"},
                                 {{"o.mkv", "", "", {}, true}, "ffv1", "bgr0"},
                                 {{"s-%d.png"}, "png", "rgba"},
                                 {{"o-%d.png", "", "", {}, true}, "png", "rgb24"},
                                 {{"s16-%d.png", "", "png16"}, "png", "rgba64be"},
                                 {{"o16-%d.png", "", "png16", {}, true}, "png", "rgb48be"},
                                 {{"s.nut"}, "rawvideo", "bgra"},
                                 {{"p.nut", "", "", kPremultiplied}, "rawvideo", "bgra"}};
  const ScratchFolder out;
  for (const Exact& kind : kinds) {
    SCOPED_TRACE(kind.request.path);
    const Delivery delivery = chooseDelivery(kind.request);
    const std::string path = out.path(kind.request.path);
    writeAll(delivery, path, inputs().keyed);
    const std::string stream = probe("stream=codec_name,pix_fmt:format_tags", path);
    expectHas(stream, "codec_name=" + kind.codec + "|pix_fmt=" + kind.pixelFormat);
    if (!delivery.format->isPictures()) expectHas(stream, "=" + alphaTag(delivery));
    EXPECT_TRUE(expectedArgb(delivery.alpha) == read(path));
    const bool deep = kind.request.codec == "png16";  // ffmpeg does not round such samples
    EXPECT_TRUE(deep || expectedArgb(delivery.alpha) == decoded("-i " + path, "argb"));
  }
  // 16 bits: each level times 257.
  const std::vector<unsigned char> wide = decoded("-i " + out.path("s16-%d.png"), "rgba64be");
  for (std::size_t i = 0; i < wide.size(); i += 2) ASSERT_EQ(wide[i], wide[i + 1]);
}

TEST(Files, HiddenColorsAreThoseAskedFor) {
  const ScratchFolder out;
  DeliveryRequest request{out.path("a.mov")};
  request.hidden = HiddenColors::Keep;
  writeAll(chooseDelivery(request), request.path, inputs().keyed);
  for (std::size_t c = 1; c < 4; ++c) {
    EXPECT_LT(meanDifference(expectedArgb(AlphaMode::Straight), read(request.path), c), 2.0);
  }
  request = {out.path("a.mkv")};
  request.hidden = HiddenColors::Extend;
  writeAll(chooseDelivery(request), request.path, inputs().keyed);
  EXPECT_TRUE(expectedArgb(AlphaMode::Straight, true) == read(request.path));
}

TEST(Files, RawPicturesAreNothingButPixels) {
  const ScratchFolder out;
  writeAll(chooseDelivery({"a.raw"}), out.path("a.raw"), inputs().keyed);
  std::vector<unsigned char> bgra = bytesOf(out.path("a.raw"));
  ASSERT_EQ(std::size_t{kFrames * kWidth * kHeight * 4}, bgra.size()) << "no header, no sound";
  for (std::size_t i = 0; i < bgra.size(); i += 4) std::reverse(&bgra[i], &bgra[i] + 4);
  EXPECT_EQ(expectedArgb(AlphaMode::Straight), bgra);
}

TEST(Files, MoviesKeepSoundAndTimecode) {
  const ScratchFolder out;
  for (const char* name : {"a.mov", "a.mkv", "a.nut"}) {
    writeAll(chooseDelivery({name}), out.path(name), inputs().keyed);
    const std::string streams = probe("stream=codec_name:stream_tags:format_tags", out.path(name));
    expectHas(streams, "codec_name=pcm_s16le");
    EXPECT_NE(std::string::npos, streams.find("=01:02:03:04")) << name << ": " << streams;
  }
}

TEST(Files, LossyOnesStayWithinTheirTolerance) {
  struct Lossy {
    DeliveryRequest request;
    std::string codec;
    double colorTolerance;
  };
  const std::vector<Lossy> kinds{{{"s.mov"}, "prores", 2.0},
                                 {{"p.mov", "", "", kPremultiplied}, "prores", 2.0},
                                 {{"o.mov", "", "", {}, true}, "prores", 2.0},
                                 {{"s.webm"}, "vp9", 4.0},
                                 {{"o.webm", "", "", {}, true}, "vp9", 4.0},
                                 {{"o.mp4", "", "", {}, true}, "h264", 4.0},
                                 {{"o1.mp4", "", "av1", {}, true}, "av1", 4.0}};
  const ScratchFolder out;
  for (const Lossy& kind : kinds) {
    SCOPED_TRACE(kind.request.path);
    const Delivery delivery = chooseDelivery(kind.request);
    const std::string path = out.path(kind.request.path);
    writeAll(delivery, path, inputs().keyed);
    const std::string stream = probe("stream:format_tags", path);
    expectHas(stream, "codec_name=" + kind.codec);
    expectHas(stream, "color_space=bt709");
    expectHas(stream, "=" + alphaTag(delivery));
    const auto expected = expectedArgb(delivery.alpha, delivery.extendsHidden), pictures = read(path);
    EXPECT_LE(meanDifference(expected, pictures, 0), delivery.format->alphaTolerance);
    for (std::size_t c = 1; c < 4; ++c) EXPECT_LT(meanDifference(expected, pictures, c), kind.colorTolerance);
  }
}

// Rows of two fields: marked, and H.264's chroma does not mix them.
TEST(Files, InterlacedPicturesStayInterlaced) {
  const ScratchFolder out;
  const std::string clip = out.path("fields.mpg");
  need("ffmpeg -nostdin -v error -y -f lavfi -i testsrc=s=96x64:r=25:d=0.2 -c:v mpeg2video -flags +ildct+ilme " +
       std::string("-top 0 ") + clip);
  Image image = inputs().keyed[0];
  for (int y = 0; y < kHeight; ++y) {
    const unsigned char color[4]{255, static_cast<unsigned char>(y % 2 == 0 ? 200 : 0), 40,
                                 static_cast<unsigned char>(y % 2 == 0 ? 0 : 200)};
    for (int x = 0; x < kWidth; ++x) std::copy_n(color, 4, image.row(y) + 4 * x);
  }
  for (const auto& [name, order] :
       {std::pair{"a.mov", "bb"}, {"a.mkv", "bb"}, {"a.mp4", "bb"}, {"a.webm", "progressive"}}) {
    DeliveryRequest request{name};
    request.opaque = true;
    writeAll(chooseDelivery(request), out.path(name), {image, image}, clip);
    const std::string found = probe("stream=field_order:frame=interlaced_frame,top_field_first", out.path(name));
    if (std::string(order) == "bb") {
      EXPECT_TRUE(found.find("field_order=bb") != std::string::npos ||
                  found.find("interlaced_frame=1") != std::string::npos)
          << name << ": " << found;
    } else {
      EXPECT_EQ(std::string::npos, found.find("interlaced_frame=1")) << found;
    }
  }
  const auto rows = decoded("-i " + out.path("a.mp4"), "yuv420p");
  const auto blueChroma = [&](std::size_t row) {
    return rows[std::size_t{kWidth} * kHeight + row * kWidth / 2 + kWidth / 4];
  };
  EXPECT_GT(blueChroma(11) - blueChroma(10), 60) << "chroma of the two fields is mixed";
}

float floatAt(const std::vector<unsigned char>& bytes, std::size_t index) {
  float value;
  std::memcpy(&value, &bytes[index * 4], 4);
  return value;
}

// Half floats have 11 significant bits.
TEST(Files, SizesThatH264DoesNotTakeAreNamed) {
  const OutputFormat& h264 = outputFormatNamed("h264");
  const auto refusal = [&](int width, int height, FieldOrder fields) {
    PictureFormat pictures;
    pictures.width = width;
    pictures.height = height;
    pictures.fieldOrder = fields;
    try {
      VideoEncoder(h264, h264.pixelFormat, pictures, {}, 1, false);
    } catch (const UserError& error) {
      return std::string(error.what());
    }
    return std::string();
  };
  EXPECT_NE(std::string::npos, refusal(71, 58, FieldOrder::Progressive).find("(it needs an even width and height)"));
  EXPECT_NE(std::string::npos, refusal(72, 58, FieldOrder::TopFirst).find("needs a height that is a multiple of 4"));
  EXPECT_EQ("", refusal(72, 58, FieldOrder::Progressive));
}

TEST(Files, ExrHoldsPremultipliedLight) {
  const ScratchFolder out;
  const std::string path = out.path("a-%04d.exr");
  writeAll(chooseDelivery({path, "compositing"}), path, inputs().keyed);
  ASSERT_TRUE(fs::exists(out.path("a-0003.exr")));
  expectHas(probe("stream=codec_name,pix_fmt", out.path("a-0001.exr")), "codec_name=exr|pix_fmt=gbrapf32le");
  const auto planes = decoded("-i " + out.path("a-0001.exr"), "gbrapf32le");
  const std::size_t area = std::size_t{kWidth} * kHeight;
  ASSERT_EQ(area * 16, planes.size());
  const std::size_t planeOf[4]{3, 2, 0, 1};
  for (std::size_t i = 0; i < area; ++i) {
    const unsigned char* pixel = &inputs().keyed[0].bytes[i * 4];
    const double alpha = pixel[0] / 255.0;
    ASSERT_NEAR(alpha, floatAt(planes, planeOf[0] * area + i), alpha / 2048);
    for (std::size_t c = 1; c < 4; ++c) {
      const double code = pixel[c] / 255.0;
      const double light = code < 0.081 ? code / 4.5 : std::pow((code + 0.099) / 1.099, 1 / 0.45);
      ASSERT_NEAR(light * alpha, floatAt(planes, planeOf[c] * area + i), light * alpha / 2048 + 1e-7);
    }
  }
}

// A matte is no light: half stays half.
TEST(Files, ExrKeepsTheLevelsOfAMatte) {
  const ScratchFolder out;
  const std::string path = out.path("a.exr");
  Image grey(kWidth, kHeight);
  std::fill(grey.bytes.begin(), grey.bytes.end(), static_cast<unsigned char>(128));
  DeliveryRequest request{path};
  request.levels = true;
  writeAll(chooseDelivery(request), path, {grey});
  EXPECT_NEAR(128 / 255.0, floatAt(decoded("-i " + path, "gbrpf32le"), 0), 0.00025);
}

TEST(Files, Av1IsAPairOfFillAndMatte) {
  const ScratchFolder out;
  const Delivery pair = chooseDelivery({"a.webm", "", "av1"});
  const std::string fill = out.path("a.webm"), matte = matteNameFor(fill);
  writeAll(pair, fill, inputs().keyed);
  std::vector<Image> mattes = inputs().keyed;
  for (Image& image : mattes) {
    for (std::size_t i = 0; i < image.bytes.size(); ++i) image.bytes[i] = i % 4 == 0 ? 255 : image.bytes[i / 4 * 4];
  }
  for (std::size_t n = 0; n < mattes.size(); ++n) {
    for (std::size_t i = 0; i < mattes[n].bytes.size(); i += 4) {
      std::fill_n(&mattes[n].bytes[i + 1], 3, inputs().keyed[n].bytes[i]);
    }
  }
  writeAll(matteDelivery(pair), matte, mattes);
  expectHas(probe("format_tags", fill), "=separate");
  expectHas(probe("format_tags", matte), "=none");
  const auto straight = expectedArgb(AlphaMode::Straight, true), colors = decoded("-i " + fill, "argb"),
             levels = decoded("-i " + matte, "argb");
  ASSERT_EQ(straight.size(), levels.size());
  for (std::size_t c = 1; c < 4; ++c) EXPECT_LT(meanDifference(straight, colors, c), 4.0) << "not straight";
  double sum = 0;
  for (std::size_t i = 0; i < levels.size(); i += 4) sum += std::abs(levels[i + 2] - straight[i]);
  EXPECT_LE(sum / static_cast<double>(levels.size() / 4), pair.format->alphaTolerance);
}

}  // namespace
