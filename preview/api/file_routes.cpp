#include "preview/api/answers.h"
#include "preview/api/clip_requests.h"
#include "preview/api/preview_context.h"

namespace kalvetra {

namespace {

// Only what the preset sets, as the page reads it.
Json settingsOf(const Preset& preset) {
  AnimatedSettings settings;
  applyPreset(preset, settings);
  const Json all = settingsAsJson(settings);
  Json set = Json::object();
  for (const auto& [id, curve] : preset.curves) {
    const std::string slug(findParameter(id)->slug);
    set[slug] = all.at(slug);
  }
  return set;
}

Answer presetText(const Request& request) {
  Answer answer;
  answer.type = "text/plain; charset=utf-8";
  answer.body = presetText(settingsIn(parseBody(request.body)));
  return answer;
}

Json presetAnswer(const Preset& preset) {
  return {{"settings", settingsOf(preset)}, {"look", preset.look}, {"currentLook", kLookVersion}};
}

Json folderNames(const Folders& folders) {
  Json names = Json::array();
  for (const auto& folder : folders.all()) names.push_back(folder.string());
  return names;
}

}  // namespace

void addFileRoutes(Routes& routes, PreviewContext& context) {
  const Folders& folders = context.folders;
  routes.get("api/files", [&folders](const Request&) {
    return jsonAnswer(
        {{"presets", folders.presets()}, {"pictures", folders.pictures()}, {"folders", folderNames(folders)}});
  });
  routes.post("api/preset/text", [](const Request& request) { return presetText(request); });
  routes.post("api/preset/read",
              [](const Request& request) { return jsonAnswer(presetAnswer(parsePreset(request.body, "the preset"))); });
  routes.post("api/preset/load", [&folders](const Request& request) {
    return jsonAnswer(presetAnswer(folders.loadPreset(text(parseBody(request.body), "name"))));
  });
  routes.post("api/preset/save", [&folders](const Request& request) {
    const Json body = parseBody(request.body);
    const std::string name = text(body, "name");
    return jsonAnswer({{"name", folders.savePreset(name, settingsIn(body), flag(body, "replace", false))}});
  });
}

}  // namespace kalvetra
