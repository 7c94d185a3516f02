#include "bench/pass_settings.h"

#include "engine/KalvetraFinalCut.h"
#include "engine/pixel_formats.h"
#include "engine/render.h"
#include "parameters/parameter_table.h"
#include "sample/test_images.h"

namespace kalvetra::bench {

namespace {

using test::Bytes;
using test::Random;

// A value of the record in engine units.
struct EngineValue {
  const char* name;
  std::uint16_t (KALVETRA_Param::*field)[2];
  std::uint16_t lowest;
  std::uint16_t byDefault;
  std::uint16_t highest;
};

constexpr EngineValue kEngineValues[]{
    {"screen gain", &KALVETRA_Param::nScreenGain, 0, 10, 30},
    {"shadow", &KALVETRA_Param::nShadow, 0, 100, 100},
    {"skin hue", &KALVETRA_Param::nSkinHue, 120, 145, 170},
    {"blue hue", &KALVETRA_Param::nBlueHue, 250, 290, 330},
    {"despill white", &KALVETRA_Param::nDespillWhite, 0, 20, 100},
    {"despill skin", &KALVETRA_Param::nDespillSkin, 0, 10, 50},
    {"despill blue", &KALVETRA_Param::nDespillBlue, 0, 0, 50},
};

struct NamedColor {
  const char* name;
  std::array<unsigned char, 3> rgb;
};

// Grey has no chroma axis, a dark colour a short one.
constexpr NamedColor kKeyColors[]{
    {"grey", {127, 127, 127}}, {"dark", {2, 3, 2}}, {"pure green", {0, 255, 0}}, {"blue", {30, 60, 200}}};

void setKey(KALVETRA_Param& param, const std::array<unsigned char, 3>& rgb) {
  for (std::size_t c = 0; c < 3; ++c) param.keyColor[c][0] = param.keyColor[c][1] = rgb[c];
}

std::array<double, 3> keyColor(const std::array<unsigned char, 3>& rgb) {
  return {rgb[0] / 255.0, rgb[1] / 255.0, rgb[2] / 255.0};
}

bool isSlider(const Parameter& p) { return p.kind == ParameterKind::IntSlider; }

std::string nameOf(const KeySettings& s) {
  std::string name;
  for (const Parameter& p : kParameters) {
    if (p.value != nullptr && s.*p.value != p.defaultValue) {
      name += (name.empty() ? "" : " ") + std::string(p.slug) + "=" + std::to_string(s.*p.value);
    }
  }
  if (s.keyColor != keyColor(kScreenGreen)) name += " another key";
  return name.empty() ? "defaults" : name;
}

// A plate for any frame, small and noisy, that keeps shadows.
const KnownPlate& smallPlate() {
  static const Bytes picture = test::greenScreen(61, 33, 4);
  static const KnownPlate plate{packedFrame(picture.data(), 61, 33), true, 2.0f};
  return plate;
}

Setting renderSetting(const KeySettings& s) {
  const bool pointwise = s.smoothBG == 0 && s.deBlocking == 0 && s.edgeContract == 0 && s.edgeBlur == 0;
  const auto run = [s](const Images& i) { renderImages(s, i); };
  return {nameOf(s), run, pointwise};
}

// On the same picture in another byte order, from that order into that order; perhaps against smallPlate.
Setting renderSetting(const KeySettings& s, const char* formatName, PixelFormat format, bool plated) {
  const auto run = [s, format, plated](const Images& i) {
    const auto [width, height] = i.size;
    const std::size_t rowBytes = static_cast<std::size_t>(width) * kPixelBytes;
    std::vector<unsigned char> source(rowBytes * static_cast<std::size_t>(height));
    const Frame input = packedFrame(source.data(), width, height, format);
    for (int y = 0; y < height; ++y) writeRow(input, y, i.source + static_cast<std::size_t>(y) * rowBytes);
    render(s, input, packedFrame(i.result, width, height, format),
           {Scan::Whole, nullptr, plated ? &smallPlate() : nullptr});
  };
  return {nameOf(s) + " in " + formatName + (plated ? " against a plate" : ""), run};
}

// All sliders at one end, keyed against the one colour.
KeySettings atEnd(int Parameter::*end) {
  KeySettings s = screenSettings();
  s.smoothBG = 0;
  for (const Parameter& p : kParameters) {
    if (isSlider(p)) s.*p.value = p.*end;
  }
  return s;
}

int pick(std::initializer_list<int> values, Random& random) {
  return values.begin()[random.within(0, static_cast<int>(values.size()) - 1)];
}

// Bit by bit: the toggles, whether clip levels and shadow are in use, and the view.
KeySettings combination(int bits, Random& random) {
  KeySettings s = screenSettings();
  for (const Parameter& p : kParameters) {
    if (isSlider(p)) s.*p.value = pick({p.minimum, p.defaultValue, p.maximum}, random);
  }
  s.smoothBG = bits & 1;
  s.deBlocking = bits >> 1 & 1;
  s.edgeContract = bits >> 2 & 1;
  s.edgeBlur = bits >> 3 & 1;
  s.view = bits >> 4 & 1 ? kKalvetraViewMatte : kKalvetraViewResult;
  s.clipBlack = bits >> 5 & 1 ? pick({0, 5, 50, 97}, random) : 0;
  s.clipWhite = bits >> 5 & 1 ? pick({100, 90, 50, 3}, random) : 100;
  s.shadow = bits >> 6 & 1 ? pick({0, 50, 99}, random) : 100;
  if (random.within(0, 7) == 0) s.keyColor = keyColor(kKeyColors[random.within(0, 3)].rgb);
  return s;
}

constexpr int kCombinations = 128;

}  // namespace

void renderImages(const KeySettings& settings, const Images& images) {
  const auto [width, height] = images.size;
  render(settings, packedFrame(images.source, width, height), packedFrame(images.result, width, height));
}

KeySettings screenSettings() {
  KeySettings s = defaultSettings();
  s.keyColor = keyColor(kScreenGreen);
  return s;
}

KALVETRA_Param defaultRecord(const Images& images) {
  KALVETRA_Param param{};
  param.pSrc = images.source;
  param.pDst = images.result;
  param.nWidth = static_cast<std::uint16_t>(images.size.width);
  param.nHeight = static_cast<std::uint16_t>(images.size.height);
  for (const EngineValue& v : kEngineValues) (param.*v.field)[0] = v.byDefault;
  setKey(param, kScreenGreen);
  return param;
}

std::vector<Setting> recordSettings(const std::function<void(KALVETRA_Param&, const Images&)>& run, bool pointwise) {
  std::vector<Setting> settings;
  const auto add = [&](const std::string& name, const std::function<void(KALVETRA_Param&)>& change) {
    const auto runChanged = [run, change](const Images& images) {
      KALVETRA_Param param = defaultRecord(images);
      change(param);
      run(param, images);
    };
    settings.push_back({name, runChanged, pointwise});
  };
  const auto addEnd = [&](const std::string& name, std::uint16_t EngineValue::*end) {
    add("all " + name, [end](KALVETRA_Param& p) {
      for (const EngineValue& v : kEngineValues) (p.*v.field)[0] = v.*end;
    });
  };
  add("defaults", [](KALVETRA_Param&) {});
  addEnd("lowest", &EngineValue::lowest);
  addEnd("highest", &EngineValue::highest);
  for (const EngineValue& v : kEngineValues) {
    for (const std::uint16_t end : {v.lowest, v.highest}) {
      add(v.name + std::string(" ") + std::to_string(end), [v, end](KALVETRA_Param& p) { (p.*v.field)[0] = end; });
    }
  }
  for (const NamedColor& key : kKeyColors) {
    add(std::string("key ") + key.name, [key](KALVETRA_Param& p) { setKey(p, key.rgb); });
  }
  return settings;
}

std::vector<Setting> renderSettings() {
  KeySettings oneColor = screenSettings();
  oneColor.smoothBG = 0;
  KeySettings noKey = screenSettings();
  noKey.keyColor = {0, 0, 0};

  std::vector<Setting> settings;
  for (const KeySettings& s :
       {screenSettings(), oneColor, atEnd(&Parameter::minimum), atEnd(&Parameter::maximum), noKey}) {
    settings.push_back(renderSetting(s));
  }
  Random random(7);
  for (int bits = 0; bits < kCombinations; ++bits) {
    const KeySettings s = combination(bits, random);
    if (bits % 5 == 4) {
      KeySettings blue = s;
      blue.screen = bits % 2;
      settings.push_back(renderSetting(blue, "Argb8", PixelFormat::Argb8, true));
    }
    settings.push_back(bits % 3 == 0   ? renderSetting(s, "Rgba8", PixelFormat::Rgba8, bits % 4 == 1)
                       : bits % 3 == 1 ? renderSetting(s, "Bgra8", PixelFormat::Bgra8, bits % 4 == 1)
                                       : renderSetting(s));
  }
  return settings;
}

}  // namespace kalvetra::bench
