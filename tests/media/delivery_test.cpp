// Which kind of file is chosen, and what is refused.
#include <gtest/gtest.h>

#include "media/output/delivery.h"
#include "support/user_error.h"

namespace {

using namespace kalvetra;

constexpr auto kStraight = AlphaMode::Straight, kPremultiplied = AlphaMode::Premultiplied, kNone = AlphaMode::None;

struct Choice {
  DeliveryRequest request;
  std::string slug, description, tag;
};

TEST(Deliveries, FitPurposeCodecAndName) {
  const std::vector<Choice> choices{
      {{"a.mov", "editing"}, "prores4444", "ProRes 4444, straight alpha", "straight"},
      {{"a.webm", "web"}, "vp9", "VP9, straight alpha", "straight"},
      {{"a-%04d.exr", "compositing"}, "exr", "OpenEXR, half float, linear light, premultiplied alpha", "premultiplied"},
      {{"a.mkv", "archive"}, "ffv1", "FFV1, lossless, straight alpha", "straight"},
      {{"a.png", "still"}, "png", "PNG, lossless, straight alpha", "straight"},
      {{"a.mp4", "web", "av1"}, "av1", "AV1, straight colours, the matte in a file of its own", "separate"},
      {{"A.MOV"}, "prores4444", "ProRes 4444, straight alpha", "straight"},
      {{"a.mkv"}, "ffv1", "FFV1, lossless, straight alpha", "straight"},
      {{"a.webm"}, "vp9", "VP9, straight alpha", "straight"},
      {{"a.nut"}, "nut", "NUT, raw pictures, straight alpha", "straight"},
      {{"-"}, "nut", "NUT, raw pictures, straight alpha", "straight"},
      {{"-", "", "raw", kPremultiplied}, "raw", "raw pictures, BGRA, premultiplied alpha", "premultiplied"},
      {{"a.bgra"}, "raw", "raw pictures, BGRA, straight alpha", "straight"},
      {{"a.mov", "", "animation", kPremultiplied},
       "animation",
       "QuickTime Animation, premultiplied alpha",
       "premultiplied"},
      {{"a.png", "", "png16"}, "png16", "PNG with 16 bits, straight alpha", "straight"},
      {{"a.mp4", "", "", {}, true}, "h264", "H.264, opaque", "none"},
      {{"a.webm", "", "av1", {}, true}, "av1", "AV1, opaque", "none"},
      {{"a.exr", "", "", kPremultiplied, true}, "exr", "OpenEXR, half float, linear light, opaque", "none"},
  };
  for (const Choice& choice : choices) {
    const Delivery delivery = chooseDelivery(choice.request);
    EXPECT_EQ(choice.slug, delivery.format->slug) << choice.request.path;
    EXPECT_EQ(choice.description, describe(delivery));
    EXPECT_EQ(choice.tag, alphaTag(delivery));
  }
  // One codec, three containers.
  for (const auto& [name, muxer] : {std::pair{"a.mkv", "matroska"}, {"a.webm", "webm"}, {"a.mp4", "mp4"}}) {
    EXPECT_STREQ(muxer, chooseDelivery({name, "", "av1"}).format->muxer);
  }
  const Delivery pair = chooseDelivery({"a.mkv", "", "av1"});
  EXPECT_TRUE(pair.pair);
  EXPECT_EQ(kNone, pair.alpha);
  EXPECT_FALSE(matteDelivery(pair).pair);
  EXPECT_EQ("none", alphaTag(matteDelivery(pair)));
  EXPECT_EQ("x.y/shot-matte.webm", matteNameFor("x.y/shot.webm"));
}

// In lossy codecs alone, unless asked for; where there are such colours at all.
TEST(Deliveries, HiddenColorsAreExtendedWhereACodecIsLossy) {
  using enum HiddenColors;
  const auto extends = [](const std::string& path, HiddenColors hidden, const std::string& codec = "",
                          std::optional<AlphaMode> alpha = {}, bool opaque = false) {
    return chooseDelivery({path, "", codec, alpha, opaque, false, hidden}).extendsHidden;
  };
  for (const char* lossy : {"a.mov", "a.webm"}) {
    EXPECT_TRUE(extends(lossy, Auto) && extends(lossy, Extend)) << lossy;
    EXPECT_FALSE(extends(lossy, Keep)) << lossy;
  }
  for (const char* lossless : {"a.mkv", "a.png", "a.nut", "a.raw"}) {
    EXPECT_TRUE(extends(lossless, Extend)) << lossless;
    EXPECT_FALSE(extends(lossless, Auto) || extends(lossless, Keep)) << lossless;
  }
  EXPECT_FALSE(extends("a.mov", Auto, "animation"));
  EXPECT_TRUE(extends("a.webm", Auto, "av1")) << "the fill of a pair";
  EXPECT_FALSE(extends("a.mov", Extend, "", kPremultiplied) || extends("a.exr", Extend));
  EXPECT_FALSE(extends("a.mov", Extend, "", {}, true)) << "opaque";
}

TEST(Deliveries, EveryPurposeAndCodecFitsItsUsualExtension) {
  for (const std::string& purpose : purposes()) {
    EXPECT_NO_THROW(chooseDelivery({"a" + usualExtension(purpose, ""), purpose})) << purpose;
  }
  for (const std::string& codec : codecs()) {
    EXPECT_EQ(codec, chooseDelivery({"a" + usualExtension("", codec), "", codec, {}, true}).format->slug);
  }
  EXPECT_EQ(".mov", usualExtension("", ""));
  EXPECT_EQ(".exr", usualExtension("still", "exr"));
  EXPECT_THROW(usualExtension("", "betamax"), UserError);
  EXPECT_THROW(usualExtension("fun", ""), UserError);
}

TEST(Deliveries, WhatDoesNotFitIsRefusedInOneSentence) {
  const std::vector<std::pair<DeliveryRequest, std::string>> refusals{
      {{"a.webm", "editing"}, "a.webm: does not fit the purpose editing; ProRes 4444 goes into a .mov file"},
      {{"a.mp4", "web"}, "a.mp4: does not fit the purpose web; VP9 goes into a .webm file"},
      {{"a.mov", "", "av1"}, "a.mov: does not fit the codec av1; AV1 goes into a .webm, .mkv or .mp4 file"},
      {{"-", "", "prores4444"},
       "the standard output: does not fit the codec prores4444; ProRes 4444 goes into a .mov file"},
      {{"a.mov", "editing", "ffv1"},
       "the codec ffv1 does not fit the purpose editing; choose prores4444 or animation, or leave the purpose out"},
      {{"a.mov", "cinema"}, "'cinema' is no purpose; choose editing, web, compositing, archive or still"},
      {{"a.mov", "", "divx"},
       "'divx' is no codec; choose prores4444, animation, ffv1, vp9, av1, h264, png, png16, exr, exr32, "
       "nut, raw, rgba64 or rgbaf32"},
      {{"a.avi"},
       "a.avi: '.avi' cannot be written; end the name in one of .mov (ProRes 4444), .mkv (FFV1, lossless), .webm "
       "(VP9), .mp4 (H.264), .png (PNG, lossless), .exr (OpenEXR, half float, linear light), .nut (NUT, raw pictures) "
       "or .raw (raw pictures, BGRA)"},
      {{"mov"}, "mov: has no file extension; end the name in one of .mov"},
      {{"a.mp4"},
       "a.mp4: H.264 holds no alpha; lay the result over a background (--over), write the matte (--view matte), or "
       "choose "
       "another kind of output: .mov, .mkv, .webm or .png"},
      {{"a.png", "", "", kPremultiplied},
       "a.png: PNG, lossless is straight by convention; for premultiplied alpha choose prores4444, animation, ffv1, "
       "exr, exr32, nut, raw, rgba64 or rgbaf32"},
      {{"a.webm", "", "", kPremultiplied}, "a.webm: VP9 is straight by convention; for premultiplied alpha choose"},
      {{"a.exr", "", "", kStraight},
       "a.exr: OpenEXR, half float, linear light is premultiplied by convention; for straight alpha choose prores4444"},
      {{"a.mkv", "", "av1", kPremultiplied},
       "a.mkv: AV1 has no alpha; its fill is straight, with the matte in a second file; for premultiplied alpha"},
      {{"a.mov", "", "", kNone},
       "a.mov: the result has alpha, which would be lost; choose straight or premultiplied alpha"},
  };
  for (const auto& [request, sentence] : refusals) {
    try {
      chooseDelivery(request);
      ADD_FAILURE() << "not refused: " << sentence;
    } catch (const UserError& error) {
      EXPECT_EQ(sentence, std::string(error.what()).substr(0, sentence.size()));
    }
  }
}

}  // namespace
