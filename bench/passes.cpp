#include "bench/passes.h"

#include <algorithm>
#include <cstring>
#include <limits>
#include <stdexcept>

#include "bench/pass_settings.h"
#include "engine/CKALVETRA.h"
#include "engine/KALVETRA_MakeMaskGreenBack32bit.h"
#include "imaging/numeric.h"

namespace kalvetra::bench {

namespace {

CImagingZEP imaging;
CKALVETRA keying;

std::size_t imageBytes(Size size) { return byteCount(size.width, size.height) * 4; }
std::size_t planeBytes(Size size) { return byteCount(size.width, size.height); }
std::size_t mapBytes(Size size) { return byteCount(imaging.Align8(size.width), size.height); }

// --- Keying passes ---------------------------------------------------------------------------------------------------

Pass renderEntry() { return {"render-entry", renderSettings(), imageBytes, Source::HostFrame}; }

Pass colorKeyPass() {
  const auto run = [](KALVETRA_Param& p, const Images&) { keying.MakeMask32bit007_2(&p); };
  return {"color-key-pass", recordSettings(run, true), imageBytes};
}

Pass plateKey() {
  const auto run = [](KALVETRA_Param& p, const Images& i) { keying.MakeChromaKeyMaskX9Core32bit14(&p, i.second); };
  return {"plate-key", recordSettings(run, true), imageBytes, Source::Image, Second::Plate};
}

Pass backgroundPlatePass() {
  const auto run = [](KALVETRA_Param& p, const Images&) { keying.MakeMask32bit008_1(&p); };
  return {"background-plate-pass", recordSettings(run, false), imageBytes};
}

// Deblocking, contraction and edge blur at nothing, at their defaults, and at their highest.
struct DriverAmounts {
  const char* name;
  std::uint16_t deBlock, contract, threshold, blurRadius, blurValue, blurOffset;
};

constexpr DriverAmounts kDriverAmounts[]{
    {"plain", 0, 0, 0, 0, 0, 0}, {"all options", 1, 2, 10, 2, 50, 0}, {"all options high", 10, 10, 255, 100, 100, 30}};

Pass driver() {
  std::vector<Setting> settings;
  for (const unsigned int fields : {1u, 0u}) {
    for (const unsigned int smooth : {1u, 0u}) {
      for (const DriverAmounts& amounts : kDriverAmounts) {
        const auto run = [fields, smooth, amounts](const Images& images) {
          KALVETRA_Param p = defaultRecord(images);
          p.bSmoothBG = smooth;
          p.nDeBlock = amounts.deBlock;
          p.nContractMask = amounts.contract;
          p.nContractThreshold = amounts.threshold;
          p.nMaskBlurRadius = amounts.blurRadius;
          p.nMaskBlurValue = amounts.blurValue;
          p.nMaskBlurOffset = amounts.blurOffset;
          KALVEVIE_Param view{fields};
          KALVETRA_MakeMaskGreenBack32bit(&p, &view, 0);
        };
        settings.push_back({std::string(fields != 0 ? "fields, " : "one picture, ") +
                                (smooth != 0 ? "plate, " : "one colour, ") + amounts.name,
                            run});
      }
    }
  }
  return {"driver", settings, imageBytes, Source::Image, Second::None, false, true};
}

// --- Background plate ------------------------------------------------------------------------------------------------

// The last column is left out of the rows where `narrow` is set: the stride is then more than four times the width.
Setting blurSetting(int radius, bool narrow) {
  const auto run = [radius, narrow](const Images& i) {
    imaging.AverageBlurCore32bit6(i.result, i.size.width - narrow, i.size.height, i.size.width * 4, radius);
  };
  return {"radius " + std::to_string(radius) + (narrow ? " narrow" : ""), run};
}

Setting extractSetting(int skinHue, int blueHue, std::array<unsigned char, 3> key, bool narrow = false) {
  const auto run = [=](const Images& i) {
    keying.ExtractBack32bit(i.result, i.result + imageBytes(i.size), i.size.width - narrow, i.size.height,
                            i.size.width * 4, key[0], key[1], key[2], skinHue, blueHue);
  };
  return {"hues " + std::to_string(skinHue) + ".." + std::to_string(blueHue) + " key " + std::to_string(key[1]) +
              (narrow ? " narrow" : ""),
          run};
}

// The result is the image, then the map.
Pass extractBackdrop() {
  const std::vector<Setting> settings{
      extractSetting(145, 290, kScreenGreen),      extractSetting(120, 250, kScreenGreen),
      extractSetting(170, 330, kScreenGreen),      extractSetting(145, 290, {127, 127, 127}),
      extractSetting(145, 290, {0, 255, 0}),       extractSetting(145, 290, {2, 3, 2}),
      extractSetting(145, 290, kScreenGreen, true)};
  const auto bytes = [](Size size) { return imageBytes(size) + mapBytes(size); };
  return {"extract-backdrop", settings, bytes, Source::Image, Second::None, true, false, true};
}

// The key colour is the source's first pixel. The tables are copied, since a float must not lie anywhere.
Pass exposureTables() {
  constexpr std::size_t kEntries = 256;
  const auto run = [](const Images& i) {
    float tables[2][kEntries];
    const unsigned char* key = i.source;
    keying.MakeBCCorrect(key[2], key[1], key[0], imaging.RGBtoYIQ(key[2], key[1], key[0]), tables[0], tables[1]);
    std::memcpy(i.result, tables, sizeof tables);
  };
  return {"exposure-tables",
          {{"defaults", run}},
          [](Size) { return 2 * kEntries * sizeof(float); },
          Source::Image,
          Second::None,
          false,
          false,
          true};
}

Pass contractPlate() {
  std::vector<Setting> settings;
  for (const int count : {3, 0, 1, 10}) {
    const auto run = [count](const Images& i) {
      keying.ContractBack32bit(i.result, i.size.width, i.size.height, i.size.width * 4, count);
    };
    settings.push_back({"by " + std::to_string(count), run});
  }
  return {"contract-plate", settings, imageBytes, Source::Image, Second::None, true, false, true};
}

Pass expandPlate() {
  const auto run = [](const Images& i) {
    keying.ExpandBack32bit8(i.result, i.size.width, i.size.height, i.size.width * 4, kScreenGreen[0], kScreenGreen[1],
                            kScreenGreen[2]);
  };
  return {"expand-plate", {{"defaults", run}}, imageBytes, Source::Image, Second::None, true, false, true};
}

Pass averageBlur() {
  const std::vector<Setting> settings{blurSetting(7, false), blurSetting(0, false), blurSetting(1, false),
                                      blurSetting(100, false), blurSetting(7, true)};
  return {"average-blur", settings, imageBytes, Source::Image, Second::None, true, false, true};
}

Pass laplacian() {
  std::vector<Setting> settings;
  for (const int threshold : {40, 0, 1, 2000}) {
    for (const int narrow : {0, 1}) {
      const auto run = [threshold, narrow](const Images& i) {
        imaging.Laplacian32bit8(i.source, i.size.width - narrow, i.size.height, i.size.width * 4, i.result,
                                i.size.width, i.size.height, imaging.Align8(i.size.width), threshold);
      };
      settings.push_back({"threshold " + std::to_string(threshold) + (narrow != 0 ? " narrow" : ""), run});
    }
  }
  return {"laplacian", settings, mapBytes, Source::Image, Second::None, false, false, true};
}

// --- Resampling ------------------------------------------------------------------------------------------------------

Size reduced(Size size) { return {std::max(size.width / 6, 2), std::max(size.height / 6, 2)}; }
Size enlarged(Size size) { return {size.width * 6, size.height * 6}; }
Size stretched(Size size) { return {size.width * 7 / 3 + 1, size.height * 5 / 7 + 1}; }

// The plate's own kernel and lobe count first, then the others of both kernels.
Pass resampling(const std::string& name, Size (*target)(Size), int lobesFirst) {
  std::vector<Setting> settings;
  const auto add = [&](int filter, int lobes) {
    const auto run = [=](const Images& i) {
      const Size to = target(i.size);
      imaging.DF_WH32bit5_1(i.source, i.size.width, i.size.height, i.size.width * 4, i.result, to.width, to.height,
                            to.width * 4, filter, lobes);
    };
    settings.push_back({"filter " + std::to_string(filter) + " lobes " + std::to_string(lobes), run});
  };
  add(0, lobesFirst);
  add(0, 3 - lobesFirst);
  for (const int lobes : {1, 2, 3}) add(1, lobes);
  return {name, settings, [target](Size size) { return imageBytes(target(size)); }};
}

Pass resampleUp() {
  Pass pass = resampling("resample-up", enlarged, 1);
  pass.onSmallCopy = true;
  return pass;
}

// --- Deblocking and the matte's edge ---------------------------------------------------------------------------------

Pass chromaBlur() {
  std::vector<Setting> settings;
  for (const int radius : {1, 0, 2, 10}) {
    const auto run = [radius](const Images& i) {
      imaging.ChromaBlur32bit(i.size.width, i.size.height, i.result, i.second, radius);
    };
    settings.push_back({"radius " + std::to_string(radius), run});
  }
  return {"chroma-blur", settings, imageBytes, Source::Image, Second::Scratch, true};
}

Pass planeBlur() {
  std::vector<Setting> settings;
  for (const float radius : {2.0f, 0.0f, 1.5f, 20.0f, 100.0f}) {
    for (const float gain : {1.0f, 0.4f, 3.0f}) {
      const auto run = [radius, gain](const Images& i) {
        imaging.AverageBlurA(i.size.width, i.size.height, i.result, radius, gain);
      };
      settings.push_back({"radius " + std::to_string(radius) + " gain " + std::to_string(gain), run});
    }
  }
  return {"plane-blur", settings, planeBytes, Source::Plane, Second::None, true};
}

Pass maskBlur() {
  std::vector<Setting> settings;
  const auto add = [&](int radius, int amount, int offset) {
    const auto run = [=](const Images& i) {
      imaging.MaskBlur(i.size.width, i.size.height, i.result, radius, amount, offset);
    };
    std::string name = "radius " + std::to_string(radius);
    if (amount != 50) name += " amount " + std::to_string(amount) + " offset " + std::to_string(offset);
    settings.push_back({name, run, false, amount == 50});
  };
  for (const int radius : {2, 20, 100}) add(radius, 50, 0);
  for (const int radius : {0, 1, 2, 100}) {
    for (const int amount : {0, 100}) {
      for (const int offset : {0, 30, 255}) add(radius, amount, offset);
    }
  }
  return {"mask-blur", settings, imageBytes, Source::Image, Second::None, true};
}

Pass contractMatte() {
  std::vector<Setting> settings;
  for (const int steps : {2, 0, 1, 3, 10}) {
    for (const int slack : {10, 0, 50, 255}) {
      const auto run = [=](const Images& i) { imaging.ContGray7(i.size.width, i.size.height, i.result, steps, slack); };
      settings.push_back({"steps " + std::to_string(steps) + " slack " + std::to_string(slack), run});
    }
  }
  return {"contract-matte", settings, imageBytes, Source::Image, Second::None, true};
}

Pass contractionStep(const std::string& name, int (CImagingZEP::*step)(int, int, unsigned char*, int)) {
  std::vector<Setting> settings;
  for (const int slack : {10, 0, 50, 255, -20, std::numeric_limits<int>::max(), std::numeric_limits<int>::min()}) {
    const auto run = [=](const Images& i) { (imaging.*step)(i.size.width, i.size.height, i.result, slack); };
    settings.push_back({"slack " + std::to_string(slack), run});
  }
  return {name, settings, imageBytes, Source::Image, Second::None, true};
}

}  // namespace

std::size_t sourceBytes(const Pass& pass, Size size) {
  return pass.source == Source::Plane ? planeBytes(size) : imageBytes(size);
}

std::vector<Pass> allPasses() {
  std::vector<Pass> passes{renderEntry(),
                           colorKeyPass(),
                           plateKey(),
                           backgroundPlatePass(),
                           driver(),
                           resampling("resample-down", reduced, 2),
                           laplacian(),
                           extractBackdrop(),
                           exposureTables(),
                           contractPlate(),
                           expandPlate(),
                           averageBlur(),
                           resampleUp(),
                           resampling("resample-stretch", stretched, 2),
                           chromaBlur(),
                           planeBlur(),
                           maskBlur(),
                           contractMatte(),
                           contractionStep("contract-matte-cross", &CImagingZEP::ContGrayCore4),
                           contractionStep("contract-matte-square", &CImagingZEP::ContGrayCore8)};
  for (Pass& pass : passes) {
    if (pass.source != Source::HostFrame) pass.settings.front().timed = true;
  }
  return passes;
}

const Pass& passNamed(const std::vector<Pass>& passes, const std::string& name) {
  const auto found = std::find_if(passes.begin(), passes.end(), [&](const Pass& pass) { return pass.name == name; });
  if (found == passes.end()) throw std::out_of_range("no pass " + name);
  return *found;
}

}  // namespace kalvetra::bench
