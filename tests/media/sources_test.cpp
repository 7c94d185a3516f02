// What the user says of sources, without opening any.
#include <gtest/gtest.h>

#include "media/files/numbered_name.h"
#include "media/input/raw_pictures.h"
#include "support/user_error.h"

namespace {

using kalvetra::parseRawPictures;

TEST(RawPictures, SizeRateAndFormatAreRead) {
  const kalvetra::RawPictures film = parseRawPictures("1920x1080@30000/1001:bgra");
  EXPECT_EQ(1920, film.width);
  EXPECT_EQ(1080, film.height);
  EXPECT_EQ(0, av_cmp_q({30000, 1001}, film.rate));
  EXPECT_EQ(AV_PIX_FMT_BGRA, film.format);
  EXPECT_EQ(0, av_cmp_q({25, 1}, parseRawPictures("2x2@25:rgb24").rate));
  EXPECT_EQ(0, av_cmp_q({2997, 100}, parseRawPictures("2x2@29.97:argb").rate));
  const kalvetra::RawPictures floats = parseRawPictures("65535x2@25:rgbaf32");
  EXPECT_TRUE(floats.floats && floats.width == 65535 && floats.storedWidth() == 131070);
  EXPECT_EQ(0, av_cmp_q({1, 2}, parseRawPictures("2x2@0.5:yuv422p10le").rate));
}

TEST(RawPictures, NonsenseIsRefusedWithAReason) {
  const struct {
    const char* text;
    const char* reason;
  } cases[] = {{"", "does not describe raw pictures"},
               {"1920x1080:bgra", "does not describe raw pictures"},
               {"1920x1080@25", "does not describe raw pictures"},
               {"160,90@25:bgra", "does not describe raw pictures"},
               {"160@25:bgra", "no size within 1..65535"},
               {"0x1080@25:bgra", "no size within 1..65535"},
               {"70000x2@25:bgra", "no size within 1..65535"},
               {"4294967456x90@25:bgra", "no size within 1..65535"},
               {"2x2@25:bgra!", "names no pixel format"},
               {"2x2@ntsc:bgra", "names no frame rate"},
               {"2x2@5*5:bgra", "names no frame rate"},
               {"2x2@0:bgra", "names no frame rate"},
               {"2x2@25.:bgra", "names no frame rate"},
               {"2x2@1/2000000:bgra", "names no frame rate"},
               {"2x2@25/0:bgra", "names no frame rate"},
               {"2x2@1.2.3:bgra", "names no frame rate"},
               {"2x2@999999999/1:bgra", "names no frame rate"},
               {"2x2@25:bgrx", "names no pixel format"},
               {"2x2@25:pal8", "names no pixel format"},
               {"2x2@25:vaapi", "names no pixel format"},
               {"65535x65535@25:rgba64le", "over 2 GiB"}};
  for (const auto& c : cases) {
    try {
      parseRawPictures(c.text);
      ADD_FAILURE() << c.text << " was taken";
    } catch (const kalvetra::UserError& error) {
      EXPECT_NE(std::string::npos, std::string(error.what()).find(c.reason)) << error.what();
      EXPECT_NE(std::string::npos, std::string(error.what()).find("1920x1080@30000/1001:bgra")) << error.what();
    }
  }
}

// Such a text once overflowed the stack.
TEST(RawPictures, TextsOfAnyLengthAreRefused) {
  const std::string many(1000000, '1');
  for (const std::string& text : {"2x2@" + many + ":rgb24", "2x2@25:" + many, many}) {
    EXPECT_THROW(parseRawPictures(text), kalvetra::UserError);
  }
}

TEST(NumberedNames, NumbersAreReadBack) {
  const kalvetra::NumberedName name("f-%03d.png");
  EXPECT_EQ(7, name.numberIn("f-007.png"));
  EXPECT_EQ(1000, name.numberIn("f-1000.png"));
  EXPECT_EQ(0, name.numberIn("f-000.png"));
  for (const char* other : {"f-0007.png", "f-7.png", "f-.png", "f-00a.png", "f-007.jpg", "f-99999999999.png"}) {
    EXPECT_FALSE(name.numberIn(other)) << other;
  }
}

TEST(NumberedNames, StemsAreWithoutNumbers) {
  for (const char* path : {"shot.mov", "a/shot.mov", "shot-%05d.png", "a/shot.%d.exr", "shot_%3d", "a.b/shot.%05d"}) {
    EXPECT_EQ("shot", kalvetra::clipStem(path)) << path;
  }
  EXPECT_EQ("sequence", kalvetra::clipStem("a/%05d.png"));
  EXPECT_EQ("sequence", kalvetra::clipStem("%05d"));
}

}  // namespace
