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

Answer presetText(const Request& request, const PreviewContext& context) {
  const Json body = parseBody(request.body);
  Answer answer;
  answer.type = "text/plain; charset=utf-8";
  answer.body = presetText(settingsIn(body), isDeepIn(body, context));
  return answer;
}

// `deep` where the page keys at full depth.
Json presetAnswer(const Preset& preset, const std::string& name, bool deep) {
  if (deep) checkDeepLook(preset.deepLook, name);
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
  routes.post("api/preset/text", [&context](const Request& request) { return presetText(request, context); });
  routes.post("api/preset/read", [&context](const Request& request) {
    const std::string name = "the preset";
    const auto depth = request.query.find("depth");
    const Json lane = depth == request.query.end() ? Json::object() : Json{{"depth", depth->second}};
    return jsonAnswer(presetAnswer(parsePreset(request.body, name), name, isDeepIn(lane, context)));
  });
  routes.post("api/preset/load", [&context](const Request& request) {
    const Json body = parseBody(request.body);
    const std::string name = text(body, "name");
    return jsonAnswer(presetAnswer(context.folders.loadPreset(name), name, isDeepIn(body, context)));
  });
  routes.post("api/preset/save", [&context](const Request& request) {
    const Json body = parseBody(request.body);
    const bool deep = isDeepIn(body, context), replace = flag(body, "replace", false);
    return jsonAnswer({{"name", context.folders.savePreset(text(body, "name"), settingsIn(body), deep, replace)}});
  });
}

}  // namespace kalvetra
