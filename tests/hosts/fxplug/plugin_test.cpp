// The built bundle in a host of our own: the whole life of an instance, call by call.
#include <gtest/gtest.h>

#include <atomic>
#include <cmath>
#include <cstdlib>
#include <fstream>
#include <limits>
#include <new>
#include <thread>

#include "hosts/fxplug/pixel_conversion.h"
#include "hosts/fxplug/test_host/hosted_filter.h"
#include "media/input/frame_at.h"
#include "parameters/parameter_table.h"
#include "support/user_error.h"
#include "tests/support/rendered.h"
#include "tests/support/run_program.h"
#include "tests/support/scratch_folder.h"

namespace {

std::atomic<long> allocationsLeft{-1};  // counts down to the one that fails; negative: none does
std::atomic<long> liveAllocations{0};

void* allocate(std::size_t size) {
  if (allocationsLeft == 0) throw std::bad_alloc();
  if (allocationsLeft > 0) --allocationsLeft;
  void* memory = std::malloc(size == 0 ? 1 : size);
  if (memory == nullptr) throw std::bad_alloc();
  ++liveAllocations;
  return memory;
}

void release(void* memory) {
  if (memory != nullptr) --liveAllocations;
  std::free(memory);
}

}  // namespace

// The bundle's own calls arrive here too.
void* operator new(std::size_t size) { return allocate(size); }
void* operator new[](std::size_t size) { return allocate(size); }
void operator delete(void* memory) noexcept { release(memory); }
void operator delete[](void* memory) noexcept { release(memory); }
void operator delete(void* memory, std::size_t) noexcept { release(memory); }
void operator delete[](void* memory, std::size_t) noexcept { release(memory); }

namespace {

std::atomic<int> programsDeleted{0};

}  // namespace

// Stands before OpenGL's own, which does nothing without a context: the filter's only call of it is counted.
extern "C" __attribute__((visibility("default"))) void glDeleteProgramsARB(int count, const unsigned int* names) {
  if (count == 1 && names != nullptr && *names == 0) ++programsDeleted;
}

namespace {

using namespace kalvetra::fxhost;
using kalvetra::KeySettings;
using kalvetra::kHostParameters;
using kalvetra::Parameter;
using kalvetra::test::Bytes;
using kalvetra::test::need;
using kalvetra::test::run;
using kalvetra::test::ScratchFolder;
using Calls = std::vector<std::string>;

const std::string kBundle = KALVETRA_BUNDLE;
constexpr char kBoolCode = 'C';  // how this runtime encodes BOOL

class Plugin : public testing::Test {
 protected:
  HostedFilter filter{kBundle, "en"};

  void create() {
    ASSERT_TRUE(filter.addParameters());
    filter.takeCalls();
  }
  void pickColor() {
    HostParameter& color = filter.parameter(3);
    color.value[0] = 40 / 255.0, color.value[1] = 150 / 255.0, color.value[2] = 70 / 255.0;
  }
  std::set<int> disabled() {
    std::set<int> ids;
    for (const HostParameter& p : filter.parameters()) {
      if (p.disabled()) ids.insert(p.id);
    }
    return ids;
  }
};

KeySettings picked() {
  KeySettings s = kalvetra::defaultSettings();
  s.keyColor = {40 / 255.0, 150 / 255.0, 70 / 255.0};
  return s;
}

HostPicture bytePicture(int width, int height, Bytes data) {
  HostPicture picture(width, height, 8);
  picture.data = std::move(data);
  return picture;
}

TEST_F(Plugin, IsRegisteredUnderIdsThatNeverChange) {
  const Registration& r = filter.registration();
  EXPECT_EQ("KalvetraGreen", r.className);
  EXPECT_EQ("FxFilter", r.protocolName);
  EXPECT_EQ("B94C7E02-5D1F-4E6A-8F3B-2A60C9D8E574", r.filterId);
  EXPECT_EQ("3F6D2C1E-8A47-4B0B-9C55-71E2D0A46B18", r.groupId);
  EXPECT_EQ(r.groupId, r.filtersGroupId);
  EXPECT_FALSE(r.dynamic);
  EXPECT_EQ("Kalvetra Green", filter.localized(r.displayName));
  EXPECT_THROW(HostedFilter("/nowhere/KalvetraGreen.bundle", "en"), kalvetra::UserError);
}

// The keys of a string table, from its file.
std::map<std::string, std::string> stringTable(const std::string& language) {
  std::ifstream file(std::string(KALVETRA_SOURCE) + "/hosts/fxplug/Resources/" + language +
                     ".lproj/Localizable.strings");
  std::map<std::string, std::string> table;
  for (std::string line; std::getline(file, line);) {
    const std::size_t middle = line.find("\" = \"");
    if (line.empty() || line[0] != '"' || middle == std::string::npos) continue;
    table[line.substr(1, middle - 1)] = line.substr(middle + 5, line.size() - middle - 7);
  }
  return table;
}

TEST_F(Plugin, EveryTextIsThereInEveryLanguageAndNoneIsLeftOver) {
  std::set<std::string> expected{filter.registration().displayName, filter.registration().groupName};
  for (const Parameter& p : kHostParameters) {
    expected.insert(p.nameKey);
    for (const kalvetra::MenuEntry& entry : p.entries) expected.insert(entry.nameKey);
  }
  for (const char* language : {"en", "ja"}) {
    const auto table = stringTable(language);
    std::set<std::string> keys;
    for (const auto& [key, text] : table) {
      keys.insert(key);
      EXPECT_FALSE(text.empty()) << key;
    }
    EXPECT_EQ(expected, keys) << language;
  }
  for (const auto& [key, text] : stringTable("en")) EXPECT_EQ(text, filter.localized(key));
}

TEST_F(Plugin, CreatesItsParametersInOrder) {
  ASSERT_TRUE(filter.addParameters());
  Calls expected{"api FxParameterCreationAPI",
                 "group 1",
                 "popup 2",
                 "color 3",
                 "toggle 4",
                 "slider 5",
                 "slider 6",
                 "slider 7",
                 "group 8",
                 "toggle 9",
                 "slider 10",
                 "end",
                 "group 11",
                 "toggle 12",
                 "slider 13",
                 "slider 14",
                 "end",
                 "group 15",
                 "toggle 16",
                 "slider 17",
                 "slider 18",
                 "end",
                 "group 19",
                 "slider 20",
                 "slider 21",
                 "end",
                 "end",
                 "group 22",
                 "group 23",
                 "slider 24",
                 "slider 25",
                 "slider 26",
                 "end",
                 "slider 27",
                 "end"};
  for (const char* id : {"10", "13", "14", "17", "18"}) {
    for (const std::string call : {"api FxParameterRetrievalAPI", "api FxParameterSettingAPI"})
      expected.push_back(call);
    expected.push_back(std::string("flags ") + id);
    expected.push_back(std::string("set flags ") + id + " 4");
  }
  EXPECT_EQ(expected, filter.takeCalls());
  ASSERT_EQ(kHostParameters.size(), filter.parameters().size());
  for (const Parameter& p : kHostParameters) {
    const HostParameter& created = filter.parameter(p.id);
    SCOPED_TRACE(p.nameKey);
    EXPECT_EQ(std::string(p.nameKey).substr(15), created.name);  // without "KalvetraGreen::"
    EXPECT_EQ(p.defaultValue, created.value[0]);
    EXPECT_EQ(0, created.value[1]);
    EXPECT_EQ(0, created.value[2]);
    EXPECT_EQ(p.toggle != 0 ? 4u : 0u, created.flags);
    if (p.kind != kalvetra::ParameterKind::IntSlider) continue;
    EXPECT_EQ(p.minimum, created.minimum);
    EXPECT_EQ(p.maximum, created.maximum);
    EXPECT_EQ(p.minimum, created.sliderMinimum);
    EXPECT_EQ(p.maximum, created.sliderMaximum);
    EXPECT_EQ(1, created.delta);
  }
  EXPECT_EQ((std::vector<std::string>{"Source", "Matte", "Result"}), filter.parameter(2).entries);
}

TEST_F(Plugin, CreationWithoutServices) {
  filter.faults().withheld = {kCreation};
  EXPECT_FALSE(filter.addParameters());
  EXPECT_TRUE(filter.parameters().empty());
  for (const char* service : {kRetrieval, kSetting}) {
    HostedFilter other(kBundle, "en");
    other.faults().withheld = {service};
    EXPECT_TRUE(other.addParameters());
    EXPECT_EQ(kHostParameters.size(), other.parameters().size());
    EXPECT_FALSE(other.parameter(10).disabled()) << "there was nothing to disable it with";
  }
}

TEST_F(Plugin, TogglesEnableTheirSliders) {
  create();
  const std::map<int, std::set<int>> dependent{{9, {10}}, {12, {13, 14}}, {16, {17, 18}}};
  const std::set<int> all{10, 13, 14, 17, 18};
  EXPECT_EQ(all, disabled());
  for (const auto& [toggle, sliders] : dependent) {
    std::set<int> rest = all;
    for (const int slider : sliders) rest.erase(slider);
    filter.takeCalls();
    filter.parameter(toggle).value[0] = 1;
    EXPECT_TRUE(filter.parameterChanged(toggle));
    EXPECT_EQ(rest, disabled());
    const Calls calls = filter.takeCalls();
    EXPECT_EQ("bool " + std::to_string(toggle) + " at 12.5", calls.at(2)) << "the action's time";
    Calls set, expectedSet;  // in increasing order of their ids
    for (const std::string& call : calls) {
      if (call.starts_with("set")) set.push_back(call);
    }
    for (const int slider : sliders) expectedSet.push_back("set flags " + std::to_string(slider) + " 0");
    EXPECT_EQ(expectedSet, set);
    filter.parameter(toggle).value[0] = 0;
    EXPECT_TRUE(filter.parameterChanged(toggle));
    EXPECT_EQ(all, disabled());
  }
  for (const int other : {1, 2, 3, 4, 5, 10, 13, 27, 99}) {
    filter.takeCalls();
    EXPECT_TRUE(filter.parameterChanged(other));
    EXPECT_EQ((Calls{"api FxParameterRetrievalAPI", "api FxCustomParameterActionAPI"}), filter.takeCalls());
  }
}

TEST_F(Plugin, TogglesThatCannotBeReadChangeNothing) {
  create();
  filter.parameter(12).value[0] = 1;
  const std::set<int> before = disabled();
  filter.faults().unreadable = {12};
  EXPECT_TRUE(filter.parameterChanged(12));
  EXPECT_EQ(before, disabled());
  filter.faults().unreadable.clear();
  for (const char* service : {kRetrieval, kAction, kSetting}) {
    filter.faults().withheld = {service};
    EXPECT_TRUE(filter.parameterChanged(12));
    EXPECT_EQ(before, disabled()) << service;
  }
}

TEST_F(Plugin, OnlyExactlyOneEnables) {
  create();
  HostParameter& p = filter.parameter(17);
  p.flags = 1 | 4;  // not animatable, disabled
  EXPECT_TRUE(filter.enable(17, 1));
  EXPECT_EQ(1u, p.flags);
  for (const int value : {2, 0, 255}) {
    p.flags = 1;
    EXPECT_TRUE(filter.enable(17, static_cast<unsigned char>(value)));
    EXPECT_EQ(5u, p.flags) << value;
  }
  EXPECT_FALSE(filter.enable(99, 1));
  filter.faults().unreadable = {17};
  EXPECT_FALSE(filter.enable(17, 1));
  filter.faults().unreadable.clear();
  for (const char* service : {kRetrieval, kSetting}) {
    filter.faults().withheld = {service};
    EXPECT_FALSE(filter.enable(17, 1));
  }
  EXPECT_EQ(5u, p.flags);
}

TEST_F(Plugin, TellsTheHostWhatItIs) {
  const std::string boolean = std::string(1, kBoolCode) + " 0";
  const std::map<std::string, std::string> expected{{"SupportsRowBytes", boolean},
                                                    {"SupportsR408", boolean},
                                                    {"SupportsR4fl", boolean},
                                                    {"MayRemapTime", boolean},
                                                    {"EquivalentSMPTEWipeCode", "i 0"}};
  EXPECT_EQ(expected, filter.properties());
  EXPECT_FALSE(filter.variesOverTime());
  EXPECT_EQ(-1.0f, filter.cachedBright());
  std::uint32_t width = 0, height = 0;
  EXPECT_TRUE(filter.outputSize(HostPicture(31, 17, 8), &width, &height));
  EXPECT_EQ(31u, width);
  EXPECT_EQ(17u, height);
  EXPECT_FALSE(filter.outputSize(HostPicture(31, 17, 8), nullptr, &height));
  EXPECT_FALSE(filter.outputSize(HostPicture(31, 17, 8), &width, nullptr));
  bool hardware = true, software = false;
  EXPECT_TRUE(filter.frameSetup(HostPicture(31, 17, 8), hardware, software));
  EXPECT_FALSE(hardware);
  EXPECT_TRUE(software);
  EXPECT_TRUE(filter.frameCleanup());
}

TEST_F(Plugin, ReadsEveryParameterAtTheRendersTime) {
  create();
  HostPicture in(4, 4, 8), out(4, 4, 8);
  ASSERT_TRUE(filter.render(out, in, 3.25));
  Calls expected{"api FxParameterRetrievalAPI"};
  for (const Parameter& p : kHostParameters) {
    constexpr const char* kinds[]{"", "int ", "rgb ", "bool ", "int "};
    if (p.kind == kalvetra::ParameterKind::Group) continue;
    expected.push_back(kinds[static_cast<std::size_t>(p.kind)] + std::to_string(p.id) + " at 3.25");
  }
  EXPECT_EQ(expected, filter.takeCalls());
}

TEST_F(Plugin, RendersBytesLikeTheEngine) {
  create();
  pickColor();
  filter.parameter(16).value[0] = 1;
  filter.parameter(5).value[0] = 70;
  KeySettings settings = picked();
  settings.edgeBlur = 1;
  settings.shadow = 70;
  const Bytes frame = kalvetra::test::greenScreen(40, 30, 1);
  Bytes expected = kalvetra::test::rendered(settings, frame, 40, 30);
  const HostPicture in = bytePicture(40, 30, frame);
  HostPicture out(40, 30, 8);
  ASSERT_TRUE(filter.render(out, in));
  EXPECT_EQ(expected, out.data);

  out.premultiplied = true;
  ASSERT_TRUE(filter.render(out, in));
  for (std::size_t i = 0; i < expected.size(); ++i) {
    const int alpha = expected[i - i % 4];
    ASSERT_EQ(i % 4 == 0 ? alpha : expected[i] * alpha / 255, out.data[i]) << i;
  }
}

TEST_F(Plugin, RendersFloatsThroughBytes) {
  create();
  pickColor();
  HostPicture in(20, 10, 32), out(20, 10, 32);
  kalvetra::test::Random random(4);
  const float odd[] = {-1.0f, 2.0f, 0.999f, 1.0f, std::nanf(""), std::numeric_limits<float>::infinity(), -0.0f, 1e-9f};
  for (std::size_t i = 0; i < 800; ++i)
    in.floats()[i] = i < 64 ? odd[i % 8] : static_cast<float>(random.within(0, 1000)) / 1000.0f;
  Bytes source(800);
  kalvetra::floatsToBytes(in.floats(), source.data(), 200);
  EXPECT_EQ((Bytes{255, 0, 255, 254, 0, 0, 255, 0}), Bytes(source.begin(), source.begin() + 8));
  const Bytes result = kalvetra::test::rendered(picked(), source, 20, 10);
  for (const bool premultiplied : {false, true}) {
    out.premultiplied = premultiplied;
    ASSERT_TRUE(filter.render(out, in));
    for (std::size_t i = 0; i < 800; i += 4) {
      const float alpha = static_cast<float>(result[i]) / 255.0f;
      ASSERT_EQ(alpha, out.floats()[i + 3]);
      for (std::size_t c = 0; c < 3; ++c) {
        const float straight = static_cast<float>(result[i + c + 1]) / 255.0f;
        ASSERT_EQ(premultiplied ? straight * alpha : straight, out.floats()[i + c]);
      }
    }
  }
}

TEST_F(Plugin, LeavesWhatItDoesNotRender) {
  create();
  pickColor();
  const HostPicture in = bytePicture(8, 6, kalvetra::test::greenScreen(8, 6, 1));
  const auto renders = [&](auto change, bool answer) {
    HostPicture source = in, out(8, 6, 8);
    std::fill(out.data.begin(), out.data.end(), static_cast<unsigned char>(77));
    change(source, out);
    const Bytes before = out.data;
    EXPECT_EQ(answer, filter.render(out, source));
    EXPECT_EQ(before, out.data);
  };
  renders([](HostPicture& source, HostPicture&) { source.imageType = 2; }, true);
  EXPECT_EQ((Calls{"api FxParameterRetrievalAPI"}), filter.takeCalls()) << "a texture needs no parameters";
  renders([](HostPicture& source, HostPicture&) { source.imageType = 3; }, false);
  renders([](HostPicture& source, HostPicture& out) { source.depth = out.depth = 16; }, true);
  renders(
      [](HostPicture& source, HostPicture& out) {
        out = HostPicture(8, 6, 32);
        source.depth = 8;
      },
      false);
  filter.faults().withheld = {kRetrieval};
  renders([](HostPicture&, HostPicture&) {}, false);
}

TEST_F(Plugin, AHostThatFailsEveryReadGetsTheSource) {
  create();
  pickColor();
  for (const Parameter& p : kHostParameters) filter.faults().unreadable.insert(p.id);
  const HostPicture in = bytePicture(8, 6, kalvetra::test::greenScreen(8, 6, 1));
  HostPicture out(8, 6, 8);
  EXPECT_TRUE(filter.render(out, in));
  EXPECT_EQ(in.data, out.data);
}

TEST_F(Plugin, OutputsOfOtherSizes) {
  create();
  pickColor();
  const HostPicture in = bytePicture(8, 6, kalvetra::test::greenScreen(8, 6, 1));
  for (const auto& [width, height] : {std::pair{5, 9}, {12, 4}}) {
    HostPicture out(width, height, 8);
    std::fill(out.data.begin(), out.data.end(), static_cast<unsigned char>(77));
    Bytes expected = out.data;
    kalvetra::render(picked(), kalvetra::packedFrame(in.data.data(), 8, 6),
                     kalvetra::packedFrame(expected.data(), width, height));
    ASSERT_TRUE(filter.render(out, in));
    EXPECT_EQ(expected, out.data);
    // Every pixel of the output is premultiplied, also those outside the common area.
    for (std::size_t i = 0; i < expected.size(); i += 4) {
      for (std::size_t c = 1; c < 4; ++c)
        expected[i + c] = static_cast<unsigned char>(expected[i + c] * expected[i] / 255);
    }
    std::fill(out.data.begin(), out.data.end(), static_cast<unsigned char>(77));
    out.premultiplied = true;
    ASSERT_TRUE(filter.render(out, in));
    EXPECT_EQ(expected, out.data);
    HostPicture floatIn(8, 6, 32), floatOut(width, height, 32);
    kalvetra::bytesToFloats(in.data.data(), floatIn.floats(), 48, false);
    ASSERT_TRUE(filter.render(floatOut, floatIn));
    const std::size_t last = floatOut.data.size() / 4 - 1;  // outside the common area
    EXPECT_EQ(0.0f, floatOut.floats()[last]);
  }
}

TEST_F(Plugin, TwoFramesAtOnce) {
  create();
  pickColor();
  const HostPicture in[2] = {bytePicture(64, 48, kalvetra::test::greenScreen(64, 48, 1)),
                             bytePicture(48, 64, kalvetra::test::greenScreen(48, 64, 2))};
  HostPicture alone[2] = {HostPicture(64, 48, 8), HostPicture(48, 64, 8)};
  for (int i = 0; i < 2; ++i) ASSERT_TRUE(filter.render(alone[i], in[i]));
  std::vector<std::thread> threads;
  std::atomic<int> wrong{0};
  for (int i = 0; i < 2; ++i) {
    threads.emplace_back([&, i] {
      for (int round = 0; round < 20; ++round) {
        HostPicture out(in[i].width, in[i].height, 8);
        if (!filter.render(out, in[i], round) || out.data != alone[i].data) ++wrong;
      }
    });
  }
  for (std::thread& thread : threads) thread.join();
  EXPECT_EQ(0, wrong);
}

TEST_F(Plugin, RunningOutOfMemoryAnswersNoAndLeaksNothing) {
  create();
  pickColor();
  for (const unsigned int depth : {8u, 32u}) {
    HostPicture in(16, 12, depth), out(16, 12, depth);
    filter.render(out, in);  // whatever is made once is made now
    std::fill(out.data.begin(), out.data.end(), static_cast<unsigned char>(77));
    const Bytes untouched = out.data;
    // With the read calls recorded in the host's own memory, only failures inside the filter count.
    int refused = 0;
    for (long failing = 0; failing < 400; ++failing) {
      filter.takeCalls().shrink_to_fit();
      const long before = liveAllocations;
      filter.recordCalls(false);
      std::copy(untouched.begin(), untouched.end(), out.data.begin());
      allocationsLeft = failing;
      const bool answer = filter.render(out, in);
      const bool reached = allocationsLeft == 0;
      allocationsLeft = -1;
      filter.recordCalls(true);
      EXPECT_EQ(before, liveAllocations) << "failure " << failing;
      refused += !answer;
      EXPECT_TRUE(answer || out.data == untouched) << "a refused frame is left alone";
      if (!reached) break;
    }
    EXPECT_GE(refused, depth == 8 ? 2 : 4);  // the working images of the render entry, and two of the float path
  }
}

TEST(PluginLife, EveryObjectIsReleased) {
  const long before = HostedFilter::liveObjects();
  const int deletedBefore = programsDeleted;
  {
    HostedFilter filter(kBundle, "en");
    EXPECT_EQ(before + 2, HostedFilter::liveObjects());  // the filter and its API manager
    filter.addParameters();
    HostPicture in(4, 4, 8), out(4, 4, 8);
    for (int i = 0; i < 10; ++i) filter.render(out, in);
    filter.properties();
    EXPECT_EQ(before + 2, HostedFilter::liveObjects());
  }
  EXPECT_EQ(before, HostedFilter::liveObjects());
  EXPECT_EQ(deletedBefore + 1, programsDeleted);
}

// A host may load other plug-ins built from this engine: none of its symbols may be visible to them.
TEST(PluginLife, TheBundleKeepsItsSymbols) {
  const std::string listed = need("nm -DC --defined-only " + kBundle + "/KalvetraGreen");
  for (const char* name : {"kalvetra::", "CImagingZEP", "CKALVETRA", "KalvetraFinalCut"}) {
    EXPECT_EQ(std::string::npos, listed.find(name)) << listed;
  }
}

TEST(PluginLife, FramesFromSetUpToCleanUp) {
  HostedFilter filter(kBundle, "en");
  filter.properties();
  ASSERT_TRUE(filter.addParameters());
  const HostPicture in = bytePicture(8, 6, kalvetra::test::greenScreen(8, 6, 1));
  for (int frame = 0; frame < 3; ++frame) {
    bool hardware = true, software = false;
    std::uint32_t width = 0, height = 0;
    ASSERT_TRUE(filter.frameSetup(in, hardware, software));
    ASSERT_TRUE(filter.outputSize(in, &width, &height));
    HostPicture out(static_cast<int>(width), static_cast<int>(height), 8);
    ASSERT_TRUE(filter.render(out, in, frame));
    ASSERT_TRUE(filter.frameCleanup());
    EXPECT_EQ(in.data, out.data);  // the key colour is black at first: nothing is keyed
  }
}

TEST(HostCommand, GivesTheBytesOfTheCommandLine) {
  const ScratchFolder out;
  const std::string host = std::string(KALVETRA_FXHOST) + " " + kBundle + " ";
  need(std::string(KALVETRA_COMMAND) + " sample " + out.path("s.mp4") + " --frames 1");
  need("ffmpeg -nostdin -v error -i " + out.path("s.mp4") + " -frames:v 1 -pix_fmt rgb24 " + out.path("in.png"));
  need(std::string(KALVETRA_COMMAND) + " key " + out.path("in.png") + " " + out.path("cli.png") +
       " --plain --key-color 51,153,0 --shadow 60 --edge-contract on --contract-mask 3");
  need(host + out.path("in.png") + " " + out.path("fx.png") + " --set 3=0.2,0.6,0 --set 5=60 --set 12=1 --set 13=3");
  const std::atomic<bool> never{false};
  const auto bytes = [&](const char* name) { return kalvetra::frameAt(out.path(name), 0, 1, never).bytes; };
  EXPECT_EQ(bytes("cli.png"), bytes("fx.png"));

  // The float path: the same after its own conversion of the input.
  need(host + out.path("in.png") + " " + out.path("fx32.png") + " --depth 32 --set 3=0.2,0.6,0");
  Bytes source = bytes("in.png");
  std::vector<float> floats(source.size());
  kalvetra::bytesToFloats(source.data(), floats.data(), source.size() / 4, false);
  kalvetra::floatsToBytes(floats.data(), source.data(), source.size() / 4);
  KeySettings settings = kalvetra::defaultSettings();
  settings.keyColor = {0.2, 0.6, 0};
  EXPECT_EQ(kalvetra::test::rendered(settings, source, 1280, 720), bytes("fx32.png"));
}

TEST(HostCommand, ListsInBothLanguagesAndRefusesNonsense) {
  const std::string host = std::string(KALVETRA_FXHOST) + " " + kBundle + " ";
  const std::string english = need(host + "--list --set 12=1"), japanese = need(host + "--list --language ja");
  EXPECT_NE(std::string::npos, english.find("      13 Contract Mask: 2  (1..10)\n"));
  EXPECT_NE(std::string::npos, english.find("      17 Mask Blur Radius (pixel): 2  (1..100)  - disabled\n"));
  EXPECT_NE(std::string::npos, japanese.find("基本"));
  EXPECT_EQ(std::string::npos, japanese.find("encoding"));
  for (const char* bad : {"--list --set 5=101", "--list --set 5=60.5", "--list --set 5=nan", "--list --set 2=nan",
                          "--list --set 99=1", "--list --set 3=0.5", "--list --set 3=5,9,-2", "--list --set five"}) {
    EXPECT_EQ(1, run(host + bad).status) << bad;
  }
  EXPECT_EQ(2, run(host + "--depth 16 --list").status);
  EXPECT_EQ(2, run(host + "--language de --list").status);
  EXPECT_EQ(2, run(host).status);
  EXPECT_EQ(1, run(std::string(KALVETRA_FXHOST) + " /nowhere --list").status);
}

}  // namespace
