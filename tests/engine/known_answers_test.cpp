// Every routine against recorded answers, byte for byte.
#include <gtest/gtest.h>

#include <cstdio>
#include <fstream>
#include <functional>
#include <map>
#include <nlohmann/json.hpp>
#include <string>
#include <vector>

#include "engine/CKALVETRA.h"
#include "engine/KALVETRA_MakeMaskGreenBack32bit.h"
#include "parameters/parameter_table.h"
#include "tests/support/bits.h"
#include "tests/support/cpu_levels.h"
#include "tests/support/rendered.h"

namespace {

using Json = nlohmann::json;
using Bytes = std::vector<unsigned char>;

Bytes fromHex(const std::string& hex) {
  Bytes bytes;
  for (std::size_t i = 0; i + 1 < hex.size(); i += 2) {
    bytes.push_back(static_cast<unsigned char>(std::stoi(hex.substr(i, 2), nullptr, 16)));
  }
  return bytes;
}

std::string floatBits(std::initializer_list<float> values) {
  std::string text;
  for (const float v : values) {
    char buffer[9];
    std::snprintf(buffer, sizeof buffer, "%08x", kalvetra::test::bitsAs<unsigned int>(v));
    text += buffer;
  }
  return text;
}

float fromBits(const std::string& hex) {
  return kalvetra::test::bitsAs<float>(static_cast<unsigned int>(std::stoul(hex, nullptr, 16)));
}

// One recorded case, with the arguments' short hands.
struct Case {
  const Json& json;
  const Json& args = json.at("args");

  int arg(const char* name) const { return args.value(name, 0); }
  unsigned char byte(const char* name) const { return static_cast<unsigned char>(arg(name)); }
  int width() const { return arg("width"); }
  int height() const { return arg("height"); }
  Bytes in() const { return fromHex(json.at("in")); }
  void expect(const char* name, const Bytes& actual) const { EXPECT_EQ(fromHex(json.at(name)), actual) << name; }
  void expectFloats(std::initializer_list<float> actual) const { EXPECT_EQ(json.at("float_bits"), floatBits(actual)); }
};

CImagingZEP imaging;
CKALVETRA keying;

void checkYIQtoRGB2(const Case& c) {
  const std::string bits = c.args.at("YIQ_bits");
  const RGB rgb =
      imaging.YIQtoRGB2({fromBits(bits.substr(0, 8)), fromBits(bits.substr(8, 8)), fromBits(bits.substr(16))});
  EXPECT_EQ(c.json.at("R"), rgb.R);
  EXPECT_EQ(c.json.at("G"), rgb.G);
  EXPECT_EQ(c.json.at("B"), rgb.B);
}

// Runs a routine that works in place.
void checkInPlace(const Case& c, const std::function<void(unsigned char*)>& routine) {
  Bytes image = c.in();
  routine(image.data());
  c.expect("out", image);
}

void checkResample(const Case& c) {
  Bytes in = c.in(), out(fromHex(c.json.at("out")).size());
  imaging.DF_WH32bit5_1(in.data(), c.arg("srcWidth"), c.arg("srcHeight"), c.arg("srcWidth") * 4, out.data(),
                        c.arg("dstWidth"), c.arg("dstHeight"), c.arg("dstWidth") * 4, c.arg("filter"), c.arg("lobes"));
  c.expect("out", out);
}

void checkLaplacian(const Case& c) {
  Bytes in = c.in(), out(fromHex(c.json.at("out")).size());
  imaging.Laplacian32bit8(in.data(), c.width(), c.height(), c.width() * 4, out.data(), c.width(), c.height(),
                          c.arg("dstStride"), c.arg("threshold"));
  c.expect("out", out);
}

void checkTables(const Case& c) {
  std::vector<float> i(256), q(256);
  const YIQ key = imaging.RGBtoYIQ(c.byte("R"), c.byte("G"), c.byte("B"));
  keying.MakeBCCorrect(c.byte("R"), c.byte("G"), c.byte("B"), key, i.data(), q.data());
  std::string text;
  for (std::size_t y = 0; y < 256; ++y) {
    text += (y ? " " : "") + std::to_string(static_cast<int>(i[y])) + "," + std::to_string(static_cast<int>(q[y]));
  }
  EXPECT_EQ(c.json.at("I,Q of each luminance"), text);
}

void checkExtraction(const Case& c) {
  Bytes image = c.in(), map(fromHex(c.json.at("map")).size());
  keying.ExtractBack32bit(image.data(), map.data(), c.width(), c.height(), c.width() * 4, c.byte("R"), c.byte("G"),
                          c.byte("B"), c.arg("hue1"), c.arg("hue2"));
  c.expect("out", image);
  c.expect("map", map);
}

// Calls pass(record) on the case's frame and compares the result image.
void checkPass(const Case& c, const std::function<void(KALVETRA_Param&)>& pass) {
  Bytes in = c.in(), out(in.size());
  KALVETRA_Param p{};
  p.pSrc = in.data();
  p.pDst = out.data();
  p.nWidth = static_cast<std::uint16_t>(c.width());
  p.nHeight = static_cast<std::uint16_t>(in.size() / 4 / static_cast<std::size_t>(c.width()));
  const char* channels[] = {"R", "G", "B"};
  for (int i = 0; i < 3; ++i) p.keyColor[i][0] = p.keyColor[i][1] = c.byte(channels[i]);
  const auto pair = [&](std::uint16_t(&field)[2], const char* name) {
    field[0] = field[1] = static_cast<std::uint16_t>(c.arg(name));
  };
  pair(p.nScreenGain, "nScreenGain");
  pair(p.nShadow, "nShadow");
  pair(p.nSkinHue, "nSkinHue");
  pair(p.nBlueHue, "nBlueHue");
  pair(p.nDespillWhite, "nDespillWhite");
  pair(p.nDespillSkin, "nDespillSkin");
  pair(p.nDespillBlue, "nDespillBlue");
  p.nDeBlock = static_cast<std::uint16_t>(c.arg("nDeBlock"));
  p.nContractMask = static_cast<std::uint16_t>(c.arg("nContractMask"));
  p.nContractThreshold = static_cast<std::uint16_t>(c.arg("nContractThreshold"));
  p.bSmoothBG = static_cast<std::uint32_t>(c.arg("bSmoothBG"));
  p.nMaskBlurRadius = static_cast<std::uint16_t>(c.arg("nMaskBlurRadius"));
  p.nMaskBlurValue = static_cast<std::uint16_t>(c.arg("nMaskBlurValue"));
  p.nMaskBlurOffset = static_cast<std::uint16_t>(c.arg("nMaskBlurOffset"));
  pass(p);
  c.expect("out", out);
}

void checkDriver(const Case& c) {
  checkPass(c, [&](KALVETRA_Param& p) {
    // The recorded frames with an odd number of rows for the two fields are one row short of their buffer.
    if (c.args.contains("note")) p.nHeight = static_cast<std::uint16_t>(c.height() - 1);
    KALVEVIE_Param view{static_cast<std::uint32_t>(c.arg("bFieldSeparate"))};
    EXPECT_EQ(c.json.at("status"), KALVETRA_MakeMaskGreenBack32bit(&p, &view, 0));
  });
}

void checkRender(const Case& c) {
  kalvetra::KeySettings settings = kalvetra::defaultSettings();
  for (const auto& [slug, value] : c.args.items()) {
    const kalvetra::Parameter* p = kalvetra::findParameter(slug);
    if (p != nullptr) settings.*p->value = value;
  }
  for (std::size_t i = 0; i < 3; ++i) settings.keyColor[i] = c.args.at("key")[i].get<int>() / 255.0;
  c.expect("out", kalvetra::test::rendered(settings, c.in(), c.width(), c.height()));
}

using Check = std::function<void(const Case&)>;

const std::map<std::string, Check>& checks() {
  static const std::map<std::string, Check> all{
      {"RGBtoYIQ",
       [](const Case& c) {
         const YIQ v = imaging.RGBtoYIQ(c.byte("R"), c.byte("G"), c.byte("B"));
         c.expectFloats({v.Y, v.I, v.Q});
       }},
      {"RGBtoYIQ2",
       [](const Case& c) {
         const YIQ v = imaging.RGBtoYIQ2(c.byte("R"), c.byte("G"), c.byte("B"));
         c.expectFloats({v.Y, v.I, v.Q});
       }},
      {"RGBtoHLS",
       [](const Case& c) {
         const HLS v = imaging.RGBtoHLS(c.byte("R"), c.byte("G"), c.byte("B"));
         c.expectFloats({v.H, v.L, v.S});
       }},
      {"HLStoYIQ",
       [](const Case& c) {
         const YIQ v = imaging.HLStoYIQ({c.args.at("H"), c.args.at("L"), c.args.at("S")});
         c.expectFloats({v.Y, v.I, v.Q});
       }},
      {"YIQtoRGB2", checkYIQtoRGB2},
      {"ChromaBlur32bit",
       [](const Case& c) {
         Bytes scratch(c.in().size());
         checkInPlace(
             c, [&](auto* p) { imaging.ChromaBlur32bit(c.width(), c.height(), p, scratch.data(), c.arg("radius")); });
       }},
      {"AverageBlurCore32bit6",
       [](const Case& c) {
         checkInPlace(c, [&](auto* p) {
           imaging.AverageBlurCore32bit6(p, c.width(), c.height(), c.width() * 4, c.arg("radius"));
         });
       }},
      {"MaskBlur",
       [](const Case& c) {
         checkInPlace(c, [&](auto* p) {
           imaging.MaskBlur(c.width(), c.height(), p, c.arg("radius"), c.arg("amount"), c.arg("offset"));
         });
       }},
      {"ContGray7",
       [](const Case& c) {
         checkInPlace(c, [&](auto* p) { imaging.ContGray7(c.width(), c.height(), p, c.arg("steps"), c.arg("slack")); });
       }},
      {"ContractBack32bit",
       [](const Case& c) {
         checkInPlace(
             c, [&](auto* p) { keying.ContractBack32bit(p, c.width(), c.height(), c.width() * 4, c.arg("count")); });
       }},
      {"ExpandBack32bit8",
       [](const Case& c) {
         checkInPlace(c, [&](auto* p) {
           keying.ExpandBack32bit8(p, c.width(), c.height(), c.width() * 4, c.byte("R"), c.byte("G"), c.byte("B"));
         });
       }},
      {"DF_WH32bit5_1", checkResample},
      {"Laplacian32bit8", checkLaplacian},
      {"MakeBCCorrect", checkTables},
      {"ExtractBack32bit", checkExtraction},
      {"MakeMask32bit007_2",
       [](const Case& c) { checkPass(c, [](KALVETRA_Param& p) { keying.MakeMask32bit007_2(&p); }); }},
      {"MakeMask32bit008_1",
       [](const Case& c) { checkPass(c, [](KALVETRA_Param& p) { keying.MakeMask32bit008_1(&p); }); }},
      {"MakeChromaKeyMaskX9Core32bit14",
       [](const Case& c) {
         Bytes plate = fromHex(c.json.at("plate"));
         checkPass(c, [&](KALVETRA_Param& p) { keying.MakeChromaKeyMaskX9Core32bit14(&p, plate.data()); });
       }},
      {"KALVETRA_MakeMaskGreenBack32bit", checkDriver},
      {"KalvetraFinalCut", checkRender},
  };
  return all;
}

TEST(KnownAnswers, EveryRoutineByteForByte) {
  std::ifstream file(KALVETRA_TEST_DATA "/known_answers.jsonl");
  ASSERT_TRUE(file.is_open());
  std::map<std::string, int> seen;
  for (std::string line; std::getline(file, line);) {
    const Json json = Json::parse(line);
    const std::string routine = json.at("routine");
    ASSERT_TRUE(checks().contains(routine)) << routine;
    SCOPED_TRACE(routine + " " + json.at("args").dump());
    kalvetra::test::atEveryLevel([&](kalvetra::CpuLevel level) {
      SCOPED_TRACE(kalvetra::cpuLevelName(level));
      checks().at(routine)(Case{json});
    });
    ++seen[routine];
  }
  EXPECT_EQ(checks().size(), seen.size()) << "a routine has no recorded answer";
}

}  // namespace
