#include "preview/api/answers.h"
#include "preview/api/clip_requests.h"
#include "preview/api/preview_context.h"

namespace kalvetra {

namespace {

// Only what the preset sets, as the page reads it.
Json settingsOf(const Preset& preset, const AnimatedSettings& settings) {
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
  const AnimatedSettings settings = settingsIn(body);
  answer.body = presetText(settings, isDeepIn(body, context, settings));
  return answer;
}

// `lane` says the depth that is chosen on the page, which settings that need full depth change.
Json presetAnswer(const Preset& preset, const std::string& name, const Json& lane, const PreviewContext& context) {
  AnimatedSettings settings;
  applyPreset(preset, settings);
  const bool deep = needsFullDepth(settings.at(0)) || isDeepIn(lane, context, AnimatedSettings());
  if (deep) checkDeepLook(preset.deepLook, name);
  return {{"settings", settingsOf(preset, settings)}, {"look", preset.look}, {"currentLook", kLookVersion}};
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
    return jsonAnswer(presetAnswer(parsePreset(request.body, name), name, lane, context));
  });
  routes.post("api/preset/load", [&context](const Request& request) {
    const Json body = parseBody(request.body);
    const std::string name = text(body, "name");
    return jsonAnswer(presetAnswer(context.folders.loadPreset(name), name, body, context));
  });
  routes.post("api/preset/save", [&context](const Request& request) {
    const Json body = parseBody(request.body);
    const AnimatedSettings settings = settingsIn(body);
    const bool deep = isDeepIn(body, context, settings), replace = flag(body, "replace", false);
    return jsonAnswer({{"name", context.folders.savePreset(text(body, "name"), settings, deep, replace)}});
  });
}

}  // namespace kalvetra
