// What the page can ask, what is refused, and that the server stands it all.
#include <random>
#include <set>

#include "parameters/preset.h"
#include "parameters/unit_value.h"
#include "tests/preview/served_clip.h"
#include "tests/support/command.h"

namespace kalvetra {
namespace {

using test::Json;

const auto kSettings = static_cast<std::size_t>(
    std::count_if(kParameters.begin(), kParameters.end(), [](const Parameter& p) { return !p.slug.empty(); }));

// One clip for all: nothing here changes it.
class PreviewApi : public ::testing::Test {
 protected:
  static void SetUpTestSuite() {
    folder_ = new test::ScratchFolder;
    preview_ = new test::ServedClip({.input = test::makeGreenClip(*folder_, "clip.mp4")});
  }
  static void TearDownTestSuite() {
    delete preview_;
    delete folder_;
  }
  static test::ServedClip& preview() { return *preview_; }
  static std::string errorOf(const httplib::Response& answer) { return Json::parse(answer.body).value("error", ""); }
  static void expectRefused(const std::string& path, const std::string& body, const std::string& part) {
    const auto answer = preview().post(path, body);
    EXPECT_EQ(400, answer.status) << path << " " << body;
    EXPECT_NE(std::string::npos, errorOf(answer).find(part)) << errorOf(answer) << "\n" << path << " " << body;
  }

  static test::ScratchFolder* folder_;
  static test::ServedClip* preview_;
};

test::ScratchFolder* PreviewApi::folder_ = nullptr;
test::ServedClip* PreviewApi::preview_ = nullptr;

TEST_F(PreviewApi, DescribesTheClip) {
  const Json clip = preview().json("api/clip");
  EXPECT_EQ("clip.mp4", clip["name"]);
  EXPECT_EQ(160, clip["width"]);
  EXPECT_EQ(90, clip["height"]);
  EXPECT_EQ(30, clip["frames"]);
  EXPECT_EQ(25, clip["rate"]["num"]);
  EXPECT_FALSE(clip["interlaced"].get<bool>());
  EXPECT_EQ(2, clip["notes"].size()) << "the colours are guessed, the plate is found: " << clip["notes"];
  EXPECT_TRUE(clip["background"].is_null());
  EXPECT_EQ(clip["pick"]["color"], clip["settings"]["key-color"]);
  EXPECT_EQ(kSettings, clip["settings"].size());
  std::set<std::string> purposes;
  for (const Json& delivery : clip["deliveries"]) purposes.insert(delivery["slug"]);
  EXPECT_EQ((std::set<std::string>{"editing", "web", "compositing", "archive", "still"}), purposes);
}

TEST_F(PreviewApi, NamesParametersAsEditorsDo) {
  const Json parameters = preview().json("api/parameters")["parameters"];
  std::ifstream file(KALVETRA_SOURCE "/hosts/fxplug/Resources/en.lproj/Localizable.strings");
  const std::string strings((std::istreambuf_iterator<char>(file)), {});
  ASSERT_EQ(kSettings, parameters.size());
  for (const Json& parameter : parameters) {
    const Parameter& row = *findParameter(parameter["id"].get<int>());
    if (row.ofClip) continue;  // no editor shows it
    const std::string key = row.nameKey;
    const std::string line = "\"" + key + "\" = " + parameter["label"].dump() + ";";
    EXPECT_NE(std::string::npos, strings.find(line)) << line;
  }
  const auto slider = std::find_if(parameters.begin(), parameters.end(),
                                   [](const Json& p) { return p["slug"] == "contract-threshold"; });
  EXPECT_EQ("slider", (*slider)["kind"]);
  EXPECT_EQ(10, (*slider)["default"]);
  EXPECT_EQ(Json({0, 50}), (*slider)["range"]);
  EXPECT_EQ("edge-contract", (*slider)["depends-on"]);
  EXPECT_EQ(Json({"Basic", "Edge Contract Group"}), (*slider)["group"]);
}

TEST_F(PreviewApi, NamesViewsAsTheSettingDoes) {
  const Json views = preview().json("api/clip")["views"], parameters = preview().json("api/parameters")["parameters"];
  EXPECT_EQ("view", parameters[0]["slug"]);
  ASSERT_EQ(6, views.size());
  for (std::size_t i = 0; i < 3; ++i) {
    EXPECT_EQ(parameters[0]["values"][i], views[i]["slug"]);
    EXPECT_EQ(parameters[0]["labels"][i], views[i]["label"]);
  }
}

TEST_F(PreviewApi, ProposesSettings) {
  const Json pick = preview().json("api/pick", {{"frames", 3}});
  EXPECT_EQ('#', pick["color"].get<std::string>()[0]);
  EXPECT_GT(pick["confidence"].get<double>(), 0.5);
  EXPECT_FALSE(pick["reason"].get<std::string>().empty());
  const Json proposal = preview().json("api/propose", Json::object());
  EXPECT_EQ(kSettings, proposal["settings"].size());
  EXPECT_EQ(parametersByPlace().size() - 1, proposal["reasons"].size()) << "all but the view";
  const Json picture{{"frame", 0}, {"view", "result"}, {"settings", proposal["settings"]}};
  EXPECT_EQ(200, preview().post("api/picture", picture).status);
  const Json named = preview().json("api/propose", {{"key-color", "#208030"}});
  EXPECT_EQ("#208030", named["settings"]["key-color"]);
  EXPECT_EQ("it was named", named["reasons"][0]["sentence"]);
  EXPECT_EQ("shot", preview().json("api/propose", {{"plate", "shot"}})["settings"]["plate"]);
  for (const char* slug : {"key-color", "plate"}) expectRefused("api/propose", Json{{slug, "green"}}.dump(), "give ");
}

TEST_F(PreviewApi, SamplesTheSource) {
  const std::string source = preview().post("api/picture", Json{{"frame", 7}, {"view", "source"}}).body;
  const auto at = [&](std::size_t x, std::size_t y, std::size_t c) {
    return static_cast<unsigned char>(source[(y * 160 + x) * 4 + c]);
  };
  const Json one = preview().json("api/sample", {{"samples", {{{"frame", 7}, {"x", 150}, {"y", 4}}}}});
  EXPECT_EQ(Json({at(150, 4, 0), at(150, 4, 1), at(150, 4, 2)}), one["mean"]);
  EXPECT_EQ(0, one["lumaSpread"]);
  Json areas{{{"frame", 7}, {"x", 0}, {"y", 0}, {"width", 160}, {"height", 10}},
             {{"frame", 20}, {"x", 10}, {"y", 60}, {"width", 20}, {"height", 20}}};
  const Json all = preview().json("api/sample", {{"samples", areas}});
  EXPECT_EQ(2000, all["pixels"]);
  EXPECT_GT(all["chromaSpread"].get<double>(), 5.0);
}

TEST_F(PreviewApi, DescribesPixels) {
  const Json request{{"frame", 3}, {"x", 60}, {"y", 50}, {"settings", {{"key-color", "#2da54b"}}}};
  Json pixel = preview().json("api/pixel", request);
  EXPECT_EQ("foreground", pixel["treatment"]);
  EXPECT_EQ(255, pixel["alpha"]);
  EXPECT_EQ(pixel["source"], pixel["result"]);
  EXPECT_GT(pixel["plate"][1].get<int>(), pixel["plate"][0].get<int>() + 50) << "the backdrop behind it is green";
  Json green = request;
  green["x"] = 140;
  pixel = preview().json("api/pixel", green);
  EXPECT_EQ("near key", pixel["treatment"]);
  EXPECT_LT(pixel["alpha"].get<int>(), 20);
}

TEST_F(PreviewApi, DrawsTheWheel) {
  Json request{{"frame", 3}, {"settings", {{"key-color", "#2da54b"}, {"smooth-bg", false}}}};
  const Json wheel = preview().json("api/wheel", request);
  const auto bins = wheel["bins"].get<std::size_t>();
  ASSERT_EQ(bins * bins, wheel["counts"].size());
  std::size_t sum = 0, fullest = 0;
  for (std::size_t i = 0; i < wheel["counts"].size(); ++i) {
    sum += wheel["counts"][i].get<std::size_t>();
    if (wheel["counts"][i] > wheel["counts"][fullest]) fullest = i;
  }
  EXPECT_EQ(160U * 90U, sum);
  const auto place = [&](double value) {
    return (value / wheel["reach"].get<double>() + 1) / 2 * static_cast<double>(bins);
  };
  EXPECT_NEAR(place(wheel["key"][0]), static_cast<double>(fullest % bins), 4)
      << "most of the frame is of the key colour";
  EXPECT_NEAR(place(-wheel["key"][1].get<double>()), static_cast<double>(fullest) / static_cast<double>(bins), 4);
  EXPECT_EQ(4, wheel["lines"].size());
  EXPECT_EQ("skin hue", wheel["lines"][0]["name"]);
  request["settings"]["skin-hue"] = 30;
  const Json moved = preview().json("api/wheel", request);
  EXPECT_NE(wheel["lines"][0]["direction"], moved["lines"][0]["direction"]);
  EXPECT_EQ(wheel["lines"][1]["direction"], moved["lines"][1]["direction"]);
}

TEST_F(PreviewApi, SendsThumbnails) {
  const auto answer = preview().get("api/thumbnail?frame=12&height=45");
  EXPECT_EQ("80", answer.get_header_value("X-Width"));
  EXPECT_EQ(80U * 45U * 4U, answer.body.size());
  const std::string half = preview().post("api/picture", Json{{"frame", 12}, {"view", "source"}, {"scale", 2}}).body;
  EXPECT_TRUE(half == answer.body);
  for (const char* query : {"", "?frame=1", "?frame=-1&height=45", "?frame=1&height=15", "?frame=1&height=161",
                            "?frame=x&height=20", "?frame=99999999999999999999&height=20", "?frame=30&height=20"}) {
    EXPECT_EQ(400, preview().get(std::string("api/thumbnail") + query).status) << query;
  }
}

TEST_F(PreviewApi, RefusesWhatMakesNoSense) {
  const auto picture = [](const std::string& members) {
    return R"({"frame":1,"view":"result","settings":{})" + members + "}";
  };
  expectRefused("api/picture", "", "no JSON");
  expectRefused("api/picture", "{\"frame\":", "no JSON");
  expectRefused("api/picture", "[]", "no JSON object");
  expectRefused("api/picture", "{}", "lacks \"view\"");
  expectRefused("api/picture", std::string(500000, '['), "nested too deeply");
  expectRefused("api/picture", R"({"view":"result","frame":NaN})", "no JSON");
  expectRefused("api/picture", R"({"view":"result","frame":"1"})", "\"frame\" is no whole number");
  expectRefused("api/picture", R"({"view":"result","frame":1.5})", "\"frame\" is no whole number");
  expectRefused("api/picture", R"({"view":"result","frame":-1})", "\"frame\" is no whole number");
  expectRefused("api/picture", R"({"view":"result","frame":18446744073709551615})", "\"frame\" is no whole number");
  expectRefused("api/picture", R"({"view":"result","frame":1e400})", "no JSON");
  expectRefused("api/picture", R"({"view":"result","frame":30})", "no frame 30");
  expectRefused("api/picture", R"({"view":"result","frame":999999999})", "no frame 999999999");
  expectRefused("api/picture", R"({"view":"sauce","frame":1})", "\"view\" is none of");
  expectRefused("api/picture", picture(R"(,"scale":3)"), "\"scale\"");
  expectRefused("api/picture", picture(R"(,"scale":0)"), "\"scale\"");
  expectRefused("api/picture", picture(R"(,"scale":1000000000000)"), "\"scale\"");
  expectRefused("api/picture", picture(R"(,"sequence":-5)"), "\"sequence\"");
  expectRefused("api/picture", picture(R"(,"viewer":7)"), "\"viewer\"");
  expectRefused("api/picture", picture(R"(,"viewer":")" + std::string(65, 'v') + "\""), "\"viewer\"");
  expectRefused("api/picture", R"({"frame":1,"view":"comp"})", "lacks \"over\"");
  expectRefused("api/picture", R"({"frame":1,"view":"comp","over":"#12345"})", "neither a colour");
  expectRefused("api/picture", R"({"frame":1,"view":"comp","over":"clip.mp4"})", "neither a colour");
  expectRefused("api/picture", R"({"frame":1,"view":"result","settings":{"shadow":101}})", "a whole number 0..100");
  expectRefused("api/picture", R"({"frame":1,"view":"result","settings":{"shadow":1e3}})", "a whole number 0..100");
  expectRefused("api/picture", R"({"frame":1,"view":"result","settings":{"shade":1}})", "the nearest is \"shadow\"");
  expectRefused("api/picture", R"({"frame":1,"view":"result","settings":[]})", "settings");
  expectRefused("api/picture", R"({"frame":1,"view":"result","settings":{"shadow":[[5,1],[5,2]]}})", "must grow");
  expectRefused("api/pixel", R"({"frame":1,"x":160,"y":0})", "\"x\" is no whole number 0..159");
  expectRefused("api/pixel", R"({"frame":1,"x":0,"y":-1})", "\"y\"");
  expectRefused("api/sample", "{}", "\"samples\"");
  expectRefused("api/sample", R"({"samples":[]})", "\"samples\"");
  expectRefused("api/sample", R"({"samples":[1]})", "no object");
  expectRefused("api/sample", R"({"samples":[{"frame":0,"x":150,"y":0,"width":11}]})",
                "\"width\" is no whole number 1..10");
  expectRefused("api/sample", R"({"samples":[{"frame":0,"x":0,"y":0,"width":4000000000,"height":2}]})", "\"width\"");
  expectRefused("api/wheel", R"({"frame":44})", "no frame 44");
  expectRefused("api/pick", R"({"frames":0})", "\"frames\"");
  expectRefused("api/pick", R"({"frames":65})", "\"frames\"");
}

// While one request is worked on and another waits, a newer one makes the waiting one give up.
TEST_F(PreviewApi, TheNewestRequestWins) {
  const Json old{{"frame", 4}, {"view", "matte"}, {"viewer", "main"}, {"sequence", 10}};
  EXPECT_EQ(200, preview().post("api/picture", old).status);
  Json newer = old;
  newer["sequence"] = 11;
  EXPECT_EQ(200, preview().post("api/picture", newer).status);
  EXPECT_EQ(409, preview().post("api/picture", old).status);
  EXPECT_EQ(200, preview().post("api/picture", newer).status) << "the same number again is no older";
  Json other = old;
  other["viewer"] = "second";
  EXPECT_EQ(200, preview().post("api/picture", other).status);
}

TEST_F(PreviewApi, SurvivesAStormOfRequests) {
  const Json quiet{{"frame", 9}, {"view", "result"}, {"settings", {{"key-color", "#2da54b"}}}};
  const std::string expected = preview().post("api/picture", quiet).body;
  std::vector<std::thread> clients;
  std::atomic<int> right{0}, overtaken{0}, refused{0}, other{0};
  constexpr int kClients = 24, kEach = 16;
  for (int c = 0; c < kClients; ++c) {
    clients.emplace_back([&, c] {
      httplib::Client client = preview().client();
      std::mt19937 random(static_cast<unsigned int>(c));
      for (int i = 0; i < kEach; ++i) {
        Json request = quiet;
        const bool garbage = random() % 4 == 0, numbered = random() % 2 == 0;
        if (numbered) request.update({{"viewer", "storm"}, {"sequence", c * kEach + i}, {"frame", random() % 30}});
        std::string body = request.dump();
        for (int k = 0; garbage && k < 6; ++k) body[random() % body.size()] = static_cast<char>(random());
        const auto answer = client.Post(preview().base() + "api/picture", body, "application/json");
        const int status = answer ? answer->status : 0;
        if (!garbage && !numbered) {
          (status == 200 && answer->body == expected ? right : other) += 1;
        } else {
          (status == 200 ? right : status == 409 ? overtaken : garbage && status == 400 ? refused : other) += 1;
        }
      }
    });
  }
  for (std::thread& client : clients) client.join();
  EXPECT_EQ(0, other);
  EXPECT_GT(right, kClients * kEach / 3);
  EXPECT_GT(refused, 20);
  EXPECT_TRUE(preview().post("api/picture", quiet).body == expected);
}

TEST_F(PreviewApi, SurvivesGarbageOnEveryPath) {
  std::mt19937 random(1);
  const char* paths[] = {"api/picture", "api/pixel", "api/sample", "api/pick", "api/wheel", "api/clip", "index.html"};
  const std::string valid =
      R"({"frame":1,"view":"matte","x":1,"y":1,"samples":[{"frame":1,"x":2,"y":2}],"settings":{"shadow":[[0,1],[9,2]]}})";
  for (int i = 0; i < 300; ++i) {
    std::string body = valid;
    for (int k = 0; k < 1 + i % 5; ++k) body[random() % body.size()] = "0123456789-{}[],:\"e.xn\\u\xff"[random() % 25];
    const auto answer = preview().post(paths[random() % std::size(paths)], body);
    EXPECT_TRUE(answer.status == 200 || answer.status == 400 || answer.status == 404) << answer.status << "\n" << body;
  }
  EXPECT_EQ(200, preview().get("api/clip").status);
}

TEST(PreviewStart, BeginsWithWhatTheCommandDoesByItself) {
  const test::ScratchFolder folder;
  const std::string clip = test::makeGreenClip(folder, "clip.mp4", 40), preset = folder.path("p.json");
  test::need(test::key(clip + " -f null --save-preset " + preset));
  const Json saved = Json::parse(test::need("cat " + preset))["settings"];
  const test::ServedClip preview({.input = clip});
  EXPECT_EQ("fit", saved["plate"]);
  EXPECT_EQ(saved, preview.json("api/clip")["settings"]);
}

TEST(PreviewStart, TakesThePresetsSettings) {
  const test::ScratchFolder folder;
  const std::string clip = test::makeGreenClip(folder, "clip.mp4", 5);
  const std::string preset = folder.path("p.json");
  std::ofstream(preset) << R"({"look": 1, "settings": {"shadow": 7, "skin-hue": [[0, 1], [4, 9]]}})";
  const test::ServedClip preview({.input = clip, .preset = preset});
  const Json settings = preview.json("api/clip")["settings"];
  EXPECT_EQ(7, settings["shadow"]);
  EXPECT_EQ(Json({{0, 1}, {4, 9}}), settings["skin-hue"]);
  EXPECT_NE("#000000", settings["key-color"]) << "the clip's backdrop";
}

TEST(PreviewStart, FindsTheScreenAlsoBesideAPreset) {
  const test::ScratchFolder folder;
  const std::string clip = test::makeGreenClip(folder, "clip.mp4", 5), preset = folder.path("p.json");
  std::ofstream(preset) << R"({"look": 1, "settings": {"screen": "blue"}})";
  for (const bool search : {false, true}) {
    const test::ServedClip preview({.input = clip, .preset = preset, .searchScreen = search});
    EXPECT_EQ(search ? "green" : "blue", preview.json("api/clip")["settings"]["screen"]);
  }
}

TEST(PreviewStart, ProposalsKeepTheCleanPlateAndRefusalsAreNotes) {
  const test::ScratchFolder folder;
  const std::string clip = test::makeGreenClip(folder, "clip.mp4", 5), bare = folder.path("bare.png");
  test::need("ffmpeg -nostdin -v error -y -f lavfi -i \"color=s=160x90,format=gbrp,geq=r='45*(0.8+0.3*X/W)'" +
             std::string(":g='165*(0.8+0.3*X/W)':b='75*(0.8+0.3*X/W)'\" -frames:v 1 ") + bare);
  const std::map<int, Curve> named{{findParameter("plate")->id, {{0, static_cast<int>(PlateKind::Clean)}}}};
  const test::ServedClip preview({.input = clip, .cleanPlate = bare, .named = named});
  EXPECT_EQ("clean", preview.json("api/propose", Json::object())["settings"]["plate"]);
  EXPECT_EQ("fit", preview.json("api/propose", {{"plate", "fit"}})["settings"]["plate"]);

  const test::ServedClip refusing({.input = clip, .cleanPlate = folder.path("none.png"), .named = named});
  const std::string notes = refusing.json("api/clip")["notes"].dump();
  EXPECT_NE(std::string::npos, notes.find("none.png")) << notes;
  EXPECT_EQ(std::string::npos, notes.find("Found: ")) << notes;
  Json picture{{"frame", 0}, {"view", "result"}, {"settings", {{"plate", "clean"}}}};
  EXPECT_EQ(400, refusing.post("api/picture", picture).status);
  picture["settings"]["smooth-bg"] = false;  // then no plate is needed
  EXPECT_EQ(200, refusing.post("api/picture", picture).status);
}

TEST(PreviewStart, ClipsWithoutABackdropAreShown) {
  const test::ScratchFolder folder;
  const std::string still = folder.path("red.png");
  test::need("ffmpeg -nostdin -v error -y -f lavfi -i color=red:s=40x20,format=rgb24,crop=33:17 -frames:v 1 " + still);
  const test::ServedClip preview({.input = still});
  const Json clip = preview.json("api/clip");
  EXPECT_EQ(1, clip["frames"]);
  EXPECT_TRUE(clip["pick"].is_null());
  EXPECT_NE(std::string::npos, clip["notes"].dump().find("no backdrop"));
  EXPECT_EQ(400, preview.post("api/pick", Json::object()).status);
  EXPECT_EQ(33U * 17U * 4U, preview.post("api/picture", Json{{"frame", 0}, {"view", "result"}}).body.size());
  EXPECT_EQ(9U * 5U * 4U, preview.post("api/picture", Json{{"frame", 0}, {"view", "matte"}, {"scale", 4}}).body.size());
}

TEST(PreviewStart, QuitEndsTheServer) {
  const test::ScratchFolder folder;
  const test::ServedClip preview({.input = test::makeGreenClip(folder, "clip.mp4", 5)});
  EXPECT_EQ(200, preview.post("api/quit", Json::object()).status);
  EXPECT_TRUE(preview.context.stop);
}

}  // namespace
}  // namespace kalvetra
