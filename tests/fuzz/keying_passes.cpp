// The keying passes and the repair of backdrops, on records and pictures of any kind.
#include <iterator>

#include "engine/CKALVETRA.h"
#include "engine/KALVETRA_MakeMaskGreenBack32bit.h"
#include "tests/fuzz/fuzz_input.h"
#include "tests/fuzz/level_oracle.h"

namespace {

using kalvetra::test::Bytes;
using kalvetra::test::FuzzInput;
using kalvetra::test::require;
using kalvetra::test::sameAtEveryLevel;
using Size = FuzzInput::Size;

CKALVETRA keying;

std::uint16_t nearly(FuzzInput& in, int lowest, int highest) {
  return static_cast<std::uint16_t>(in.nearly(lowest, highest));
}

// Sizes are set by the caller.
KALVETRA_Param recordFrom(FuzzInput& in) {
  KALVETRA_Param p{};
  for (auto& component : p.keyColor) component[0] = component[1] = static_cast<unsigned char>(in.byte());
  p.nScreenGain[0] = nearly(in, 0, 30);
  p.nShadow[0] = nearly(in, 0, 100);
  p.nSkinHue[0] = nearly(in, 120, 170);
  p.nBlueHue[0] = nearly(in, 250, 330);
  p.nDespillWhite[0] = nearly(in, 0, 100);
  p.nDespillSkin[0] = nearly(in, 0, 50);
  p.nDespillBlue[0] = nearly(in, 0, 50);
  p.nDeBlock = nearly(in, 0, 10);
  p.nContractMask = nearly(in, 0, 10);
  p.nContractThreshold = nearly(in, 0, 255);
  p.bSmoothBG = static_cast<std::uint32_t>(in.nearly(0, 1));
  p.nMaskBlurRadius = nearly(in, 0, 100);
  p.nMaskBlurValue = nearly(in, 0, 100);
  p.nMaskBlurOffset = nearly(in, 0, 255);
  return p;
}

enum Pass { kColor, kPlate, kPlateCore, kDriver, kFieldDriver, kPasses };

unsigned int run(Pass pass, KALVETRA_Param& p, Bytes& plate) {
  KALVEVIE_Param view{pass == kFieldDriver ? 1u : 0u};
  switch (pass) {
    case kColor:
      return keying.MakeMask32bit007_2(&p);
    case kPlate:
      return keying.MakeMask32bit008_1(&p);
    case kPlateCore:
      return keying.MakeChromaKeyMaskX9Core32bit14(&p, plate.data());
    default:
      return KALVETRA_MakeMaskGreenBack32bit(&p, &view, 0);
  }
}

void keyRecord(FuzzInput& in, Pass pass) {
  const bool inPlace = in.flag();
  KALVETRA_Param record = recordFrom(in);
  const Size size = in.size();
  record.nWidth = static_cast<std::uint16_t>(std::max(size.width, 0));
  record.nHeight = static_cast<std::uint16_t>(std::max(size.height, 0));
  const Bytes frame = in.picture(size.pixels() * 4);
  Bytes plate = pass == kPlateCore ? in.picture(frame.size()) : Bytes();
  sameAtEveryLevel([&] {
    Bytes source = frame, result(frame.size(), 0x5C);
    KALVETRA_Param p = record;
    p.pSrc = source.data();
    p.pDst = inPlace && pass == kColor ? source.data() : result.data();
    const unsigned int status = run(pass, p, plate);
    require(status == 0 || (status == 2 && result == Bytes(frame.size(), 0x5C)),
            "a record that is neither keyed nor refused");
    source.insert(source.end(), result.begin(), result.end());
    return source;
  });
}

// What a backdrop's repair works on: an image with rows longer than its pixels.
struct Image {
  Size size;
  int rowBytes;
  Bytes bytes;
};

Image imageFrom(FuzzInput& in) {
  Image image{in.size(), 0, {}};
  image.rowBytes = 4 * (std::max(image.size.width, 0) + in.within(0, 3));
  if (image.size.pixels() == 0) return image;
  image.bytes = in.picture(static_cast<std::size_t>(image.rowBytes) * static_cast<std::size_t>(image.size.height));
  for (std::size_t i = 0; i + 2 < image.bytes.size(); i += 4) {
    if (image.bytes[i + 2] < 64) image.bytes[i] = image.bytes[i + 1] = image.bytes[i + 2] = 0;  // holes
  }
  return image;
}

void repair(FuzzInput& in) {
  const int what = in.byte() % 3, count = in.nearly(-1, 10), hue1 = in.nearly(120, 170), hue2 = in.nearly(250, 330);
  const auto byte = [&in] { return static_cast<unsigned char>(in.byte()); };
  const unsigned char r = byte(), g = byte(), b = byte();
  const Image image = imageFrom(in);
  const Size size = image.size;
  sameAtEveryLevel([&] {
    Bytes result = image.bytes;
    Bytes map(size.pixels() == 0 ? 0 : static_cast<std::size_t>(CImagingZEP().Align8(size.width) * size.height));
    if (what == 0) {
      keying.ExtractBack32bit(result.data(), map.data(), size.width, size.height, image.rowBytes, r, g, b, hue1, hue2);
    } else if (what == 1) {
      keying.ContractBack32bit(result.data(), size.width, size.height, image.rowBytes, count);
    } else {
      keying.ExpandBack32bit8(result.data(), size.width, size.height, image.rowBytes, r, g, b);
    }
    result.insert(result.end(), map.begin(), map.end());
    return result;
  });
}

void exposureTables(FuzzInput& in) {
  const auto byte = [&in] { return static_cast<unsigned char>(in.byte()); };
  const unsigned char r = byte(), g = byte(), b = byte();
  const YIQ key = in.flag() ? CImagingZEP().RGBtoYIQ(r, g, b) : YIQ{in.any<float>(), in.any<float>(), in.any<float>()};
  sameAtEveryLevel([&] {
    float tables[2][256];
    keying.MakeBCCorrect(r, g, b, key, tables[0], tables[1]);
    const auto* bytes = reinterpret_cast<const unsigned char*>(tables);
    return Bytes(bytes, bytes + sizeof tables);
  });
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  FuzzInput in(data, size);
  const int what = in.byte() % (kPasses + 3);
  if (what < kPasses) {
    keyRecord(in, static_cast<Pass>(what));
  } else if (what == kPasses) {
    exposureTables(in);
  } else {
    repair(in);
  }
  return 0;
}
