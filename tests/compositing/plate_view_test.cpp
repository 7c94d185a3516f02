// The plate as a picture against the plate that the keyer uses.
#include <gtest/gtest.h>

#include <algorithm>

#include "engine/CKALVETRA.h"
#include "parameters/parameter_table.h"
#include "tests/support/cpu_levels.h"
#include "tests/support/rendered.h"

namespace {

using namespace kalvetra;
using kalvetra::test::Bytes;

constexpr int kWidth = 400, kHeight = 226;  // larger than the small copy that is repaired

KeySettings greenKey() {
  KeySettings settings = defaultSettings();
  settings.keyColor = {40 / 255.0, 150 / 255.0, 70 / 255.0};
  return settings;
}

Bytes plateOf(const KeySettings& settings, const Bytes& frame, bool& estimated) {
  Bytes plate(frame.size());
  estimated =
      renderPlate(settings, packedFrame(frame.data(), kWidth, kHeight), packedFrame(plate.data(), kWidth, kHeight));
  return plate;
}

Bytes reversed(const Bytes& bytes) {
  Bytes result(bytes.size());
  for (std::size_t i = 0; i < bytes.size(); ++i) result[i] = bytes[i / 4 * 4 + 3 - i % 4];
  return result;
}

// Keying against the shown plate by hand gives what the whole render gives, at every CPU level: it is that plate.
TEST(PlateView, IsWhatTheKeyerKeysAgainst) {
  const Bytes frame = test::greenScreen(kWidth, kHeight, 9);
  test::atEveryLevel([&](auto) {
    bool estimated = false;
    Bytes plate = reversed(plateOf(greenKey(), frame, estimated));
    EXPECT_TRUE(estimated);
    Bytes source = reversed(frame), byHand(frame.size());
    KALVETRA_Param param{};
    param.pSrc = source.data();
    param.pDst = byHand.data();
    param.nWidth = kWidth;
    param.nHeight = kHeight;
    // The defaults in the record's units.
    param.keyColor[0][0] = 40, param.keyColor[1][0] = 150, param.keyColor[2][0] = 70;
    param.nScreenGain[0] = 10, param.nShadow[0] = 100, param.nSkinHue[0] = 145, param.nBlueHue[0] = 290;
    param.nDespillWhite[0] = 20, param.nDespillSkin[0] = 10, param.nDespillBlue[0] = 0;
    CKALVETRA().MakeChromaKeyMaskX9Core32bit14(&param, plate.data());
    EXPECT_EQ(test::rendered(greenKey(), frame, kWidth, kHeight), reversed(byHand));
  });
}

TEST(PlateView, LooksLikeTheBackdropAndIsOpaque) {
  bool estimated = false;
  const Bytes plate = plateOf(greenKey(), test::greenScreen(kWidth, kHeight, 9), estimated);
  for (std::size_t i = 0; i < plate.size(); i += 4) {
    ASSERT_EQ(255, plate[i]);
    ASSERT_GT(plate[i + 2], plate[i + 1] + 30) << "the subject shows at pixel " << i / 4;
    ASSERT_GT(plate[i + 2], plate[i + 3] + 30);
  }
}

// The fields of an odd number of rows too, and of a single one.
TEST(PlateView, OfFieldsIsThatOfEachField) {
  for (const int height : {kHeight, kHeight - 1, 1}) {
    const Bytes frame = test::greenScreen(kWidth, height, 9);
    Bytes plates(frame.size());
    EXPECT_TRUE(renderPlate(greenKey(), packedFrame(frame.data(), kWidth, height),
                            packedFrame(plates.data(), kWidth, height), {Scan::Fields}));
    for (int first = 0; first < std::min(2, height); ++first) {
      const int rows = (height + 1 - first) / 2;
      const std::ptrdiff_t row = kWidth * 4;
      Bytes field, wanted(static_cast<std::size_t>(row * rows)), found;
      for (int y = first; y < height; y += 2) {
        field.insert(field.end(), frame.begin() + y * row, frame.begin() + (y + 1) * row);
        found.insert(found.end(), plates.begin() + y * row, plates.begin() + (y + 1) * row);
      }
      renderPlate(greenKey(), packedFrame(field.data(), kWidth, rows), packedFrame(wanted.data(), kWidth, rows));
      EXPECT_EQ(wanted, found) << height << " rows, field " << first;
    }
  }
}

TEST(PlateView, WithoutAnEstimateItIsTheKeyColour) {
  const Bytes frame = test::greenScreen(kWidth, kHeight, 9);
  KeySettings plain = greenKey(), black = greenKey();
  plain.smoothBG = 0;
  black.keyColor = {0, 0, 0};
  for (const auto& [settings, color] : {std::pair{plain, Bytes{255, 40, 150, 70}}, {black, Bytes{255, 0, 0, 0}}}) {
    bool estimated = true;
    const Bytes plate = plateOf(settings, frame, estimated);
    EXPECT_FALSE(estimated);
    for (std::size_t i = 0; i < plate.size(); ++i) ASSERT_EQ(color[i % 4], plate[i]);
  }
}

// The sanitizers watch: a field's first row lay before a buffer that is not there.
TEST(PlateView, FramesWithoutPixelsNeedNoBuffers) {
  for (const auto& [width, height] : {std::pair{-1, 2}, {0, 5}, {5, 0}, {5, -3}}) {
    const Frame none = packedFrame<unsigned char>(nullptr, width, height);
    for (const Scan scan : {Scan::Whole, Scan::Fields}) EXPECT_FALSE(renderPlate(greenKey(), none, none, {scan}));
  }
}

}  // namespace
