// What a check of a written file must notice.
#include <gtest/gtest.h>

#include "jobs/proof.h"
#include "media/output/writer.h"
#include "tests/support/command.h"
#include "tests/support/scratch_folder.h"

namespace {

using namespace kalvetra;
using namespace kalvetra::test;

constexpr int kFrames = 5, kFirstNumber = 3;
const std::atomic<bool> kNever{false};

// A ramp of alpha over a colour, another in each picture.
Image keyedPicture(int index) {
  Image image(64, 64);
  for (int y = 0; y < image.height; ++y) {
    for (int x = 0; x < image.width; ++x) {
      unsigned char* pixel = image.row(y) + std::ptrdiff_t{4} * x;
      pixel[0] = static_cast<unsigned char>(4 * x);
      pixel[1] = static_cast<unsigned char>(200 - 20 * index);
      pixel[2] = 120;
      pixel[3] = 90;
    }
  }
  return image;
}

// Hardly more than black, which a lossy codec takes for it.
Image darkPicture(int index) {
  Image image = keyedPicture(index);
  for (std::size_t i = 0; i < image.bytes.size(); i += 4) {
    image.bytes[i + 1] = i % 12 == 0 ? 4 : 0;
    image.bytes[i + 2] = image.bytes[i + 3] = 0;
  }
  return image;
}

// Black and white in turn where it is clear.
Image speckledPicture(int index) {
  Image image = keyedPicture(index);
  for (std::size_t i = 0; i < image.bytes.size(); i += 4) {
    if (image.bytes[i] >= 128) continue;
    image.bytes[i] = 0;
    std::fill_n(&image.bytes[i + 1], 3, static_cast<unsigned char>(i % 8 == 0 ? 0 : 255));
  }
  return image;
}

class ProofTest : public testing::Test {
 protected:
  ProofTest() : source_(folder_.path("source.mov")) {
    need(kFfmpeg +
         "-f lavfi -i color=green:s=64x64:r=25 -f lavfi -i sine -t 0.2 -timecode 01:00:00:00 -c:v prores_ks " +
         "-colorspace bt709 -color_primaries bt709 -color_trc bt709 -color_range tv -c:a pcm_s16le " + source_);
  }

  // Writes the pictures, and answers what was promised.
  Promise write(const std::string& name, std::optional<AlphaMode> alpha = {}, Image (*picture)(int) = keyedPicture,
                const std::string& codec = "") {
    DeliveryRequest request;
    request.path = folder_.path(name);
    if (alpha != AlphaMode::None) request.alpha = alpha;
    request.opaque = alpha == AlphaMode::None;
    request.codec = codec;
    Promise promise;
    promise.delivery = chooseDelivery(request);
    Reader reader(source_, 1, kNever);
    TemporaryOutput output(request.path, true);
    Writer writer(promise.delivery, output, name, reader, 1);
    SourceFrame frame;
    for (int i = 0; i < kFrames; ++i) {
      reader.next(frame);
      const PicturePlace place{frame.time, frame.duration, kFirstNumber + i};
      writer.write(writer.pack(picture(i)), place);
      promise.frames.push_back({place.time, place.duration, {}, place.number});
      writer.writeCopied(frame.copied);
      frame.copied.clear();
    }
    writer.finish();
    output.commit();
    for (const int i : {0, 2, kFrames - 1}) promise.samples.emplace(i, picture(i));
    promise.pictures = reader.format();
    promise.soundStreams = writer.sound().tracks;
    promise.timecode = timecodeOf(reader, 0);
    return promise;
  }

  std::vector<std::string> differences(const std::string& name, const Promise& promise) const {
    return prove(folder_.path(name), promise, 1, kNever).differences;
  }

  ScratchFolder folder_;
  std::string source_;
};

TEST_F(ProofTest, EveryKindOfOutputChecksOut) {
  const std::pair<const char*, AlphaMode> cases[] = {
      {"a.mov", AlphaMode::Straight},           {"b.mov", AlphaMode::Premultiplied},
      {"a.mkv", AlphaMode::Straight},           {"b.mkv", AlphaMode::Premultiplied},
      {"a.webm", AlphaMode::Straight},          {"a-%03d.png", AlphaMode::Straight},
      {"a-%03d.exr", AlphaMode::Premultiplied}, {"a.nut", AlphaMode::Straight}};
  for (const auto& [name, alpha] : cases) {
    const Promise promise = write(name, alpha);
    const Proof proof = prove(folder_.path(name), promise, 1, kNever);
    for (const std::string& difference : proof.differences) ADD_FAILURE() << name << ": " << difference;
    EXPECT_GE(proof.checks.size(), 2u) << name;
  }
}

TEST_F(ProofTest, EveryDifferenceIsNamed) {
  const Promise good = write("a.mkv");
  const auto expect = [&](const Promise& promise, const std::string& sentence) {
    const std::vector<std::string> found = differences("a.mkv", promise);
    ASSERT_EQ(1u, found.size()) << sentence;
    expectHas(found.front(), sentence);
  };
  Promise promise = good;
  promise.frames.emplace_back();
  expect(promise, "5 pictures instead of 6");
  promise = good;
  promise.frames.at(2).time += 512;  // a picture's duration
  expect(promise, "picture 3 comes 0.080 s after the first instead of 0.120 s");
  promise = good;
  promise.frames.back().duration *= 3;
  expect(promise, "it lasts 0.200 s instead of 0.280 s");
  promise = good;
  promise.samples.at(2).bytes[400] ^= 64;  // one alpha value of one picture
  expect(promise, "the alpha of picture 3 is off by 0.02 levels");
  promise = good;
  promise.soundStreams = 2;
  expect(promise, "1 sound track instead of 2");
  promise = good;
  promise.timecode = "01:00:00:01";
  expect(promise, "timecode is '01:00:00:00'");
  promise = good;
  promise.pictures.pixelAspect = {64, 45};
  expect(promise, "its pixels are 1:1 instead of 64:45");
  promise = good;
  promise.pictures.fieldOrder = FieldOrder::BottomFirst;
  expect(promise, "its pictures are progressive instead of bottom field first");
  promise = good;
  promise.samples.emplace(kFrames, keyedPicture(0));
  expect(promise, "picture 6 cannot be read back");
}

// H.264 stores pictures in another order.
TEST_F(ProofTest, AnMp4EndsWithItsLastShownPicture) {
  Promise promise = write("r.mp4", AlphaMode::None);
  EXPECT_EQ(std::vector<std::string>(), differences("r.mp4", promise));
  promise.frames.back().duration *= 3;
  const std::vector<std::string> found = differences("r.mp4", promise);
  ASSERT_EQ(1u, found.size());
  expectHas(found.front(), "instead of 0.280 s");
}

TEST_F(ProofTest, AWrongColourTagIsNoticed) {
  const auto expectRefused = [&](const char* name, const Promise& good, auto change) {
    Promise promise = good;
    change(promise.pictures.color);
    const std::vector<std::string> found = differences(name, promise);
    EXPECT_EQ(std::vector<std::string>{"its colour tags are not those of the clip"}, found) << name;
  };
  const Promise good = write("c.mov");
  expectRefused("c.mov", good, [](ColorTags& color) { color.matrix = AVCOL_SPC_BT2020_NCL; });
  expectRefused("c.mov", good, [](ColorTags& color) { color.primaries = AVCOL_PRI_BT2020; });
  expectRefused("c.mov", good, [](ColorTags& color) { color.transfer = AVCOL_TRC_IEC61966_2_1; });
  // The range is the format's own: another must be in the file.
  const Promise limited = write("c.mp4", AlphaMode::None);
  need(kFfmpeg + "-i " + folder_.path("c.mp4") +
       " -map 0:v -map 0:a -c copy -bsf:v h264_metadata=video_full_range_flag=1 " +
       "-color_range pc -movflags use_metadata_tags " + folder_.path("full.mp4"));
  expectRefused("full.mp4", limited, [](ColorTags&) {});
}

TEST_F(ProofTest, AWrongCodecTagOrRotationIsNamed) {
  const Promise good = write("p.mov");
  need(kFfmpeg + "-i " + folder_.path("p.mov") + " -map 0 -c copy -tag:v apch -movflags use_metadata_tags " +
       folder_.path("hq.mov"));
  const std::vector<std::string> found = differences("hq.mov", good);
  ASSERT_FALSE(found.empty());
  expectHas(found.front(), "its codec is prores (apch) instead of prores (ap4h)");
  Promise turned = good;
  turned.pictures.displayMatrix.emplace();
  av_display_rotation_set(turned.pictures.displayMatrix->data(), 90);
  EXPECT_EQ(std::vector<std::string>{"it is to be turned by 0 degrees instead of 90"}, differences("p.mov", turned));
}

TEST_F(ProofTest, StraightAndPremultipliedAreToldApart) {
  Promise promise = write("a.mkv", AlphaMode::Premultiplied);
  promise.delivery.alpha = AlphaMode::Straight;
  const std::vector<std::string> found = differences("a.mkv", promise);
  ASSERT_EQ(2u, found.size());
  expectHas(found[0], "said to be premultiplied instead of straight");
  expectHas(found[1], "premultiplied, not straight");
}

TEST_F(ProofTest, DarkPicturesCannotTellStraightFromPremultiplied) {
  EXPECT_EQ(std::vector<std::string>(), differences("d.webm", write("d.webm", {}, darkPicture)));
}

// A fill has no alpha: what it holds where the picture is clear is not the keyer's.
TEST_F(ProofTest, HiddenColorsOfAFillAreNotCompared) {
  Promise promise = write("f.webm", {}, speckledPicture, "av1");
  EXPECT_EQ(std::vector<std::string>(), differences("f.webm", promise));
  Image& seen = promise.samples.at(2);
  for (std::size_t i = 0; i < seen.bytes.size(); i += 4) seen.bytes[i + 2] ^= seen.bytes[i];
  const std::vector<std::string> found = differences("f.webm", promise);
  ASSERT_EQ(1u, found.size());
  expectHas(found[0], "the brightness of picture 3");
}

TEST_F(ProofTest, MissingAndSurplusPicturesOfASequenceAreNoticed) {
  const Promise promise = write("s-%03d.png");
  std::filesystem::rename(folder_.path("s-004.png"), folder_.path("s-009.png"));
  const std::vector<std::string> found = differences("s-%03d.png", promise);
  ASSERT_EQ(2u, found.size());
  expectHas(found.front(), "4 pictures instead of 5");
  expectHas(found.back(), "nothing was keyed for 1 of its pictures");
}

}  // namespace
