#include "media/output/delivery.h"
#include "preview/api/answers.h"
#include "preview/api/clip_requests.h"
#include "preview/api/preview_context.h"
#include "preview/export/equivalent_command.h"
#include "preview/export/plain_name.h"

namespace kalvetra {

namespace {

// "shot-keyed.mov", or "shot-keyed-%05d.exr" for pictures.
std::string usualName(const std::string& stem, const KeyRequest& request) {
  const std::string extension = usualExtension(request.purpose, request.codec);
  const bool pictures =
      chooseDelivery({"a" + extension, request.purpose, request.codec, {}, true}).format->isPictures();
  return stem + (pictures ? "-keyed-%05d" : "-keyed") + extension;
}

// In the first folder, where the page's exports and presets go, too.
std::string inFolder(const Folders& folders, const std::string& name) {
  return folders.all().empty() ? name : (folders.all().front() / name).string();
}

Json commandFor(const Json& body, PreviewContext& context) {
  const KeyRequest request = keyRequestIn(body, context);
  const std::string stem = plainStem(context.options.input);
  const std::string output = withEnding(text(body, "output", usualName(stem, request)), request);
  checkPlainName(output);
  const CommandFiles files{context.options.input,
                           context.options.sourceArguments,
                           inFolder(context.folders, output),
                           inFolder(context.folders, stem + ".json"),
                           context.options.mattes,
                           context.options.cleanPlate,
                           context.clip.keysDeep(request.depth, request.settings)};
  const EquivalentCommand result = equivalentCommand(request, files);
  Json json{{"command", result.command}, {"output", output}, {"preset", nullptr}};
  if (!result.presetText.empty()) json["preset"] = {{"name", stem + ".json"}, {"text", result.presetText}};
  return json;
}

}  // namespace

void addCommandRoutes(Routes& routes, PreviewContext& context) {
  routes.post("api/command",
              [&context](const Request& request) { return jsonAnswer(commandFor(parseBody(request.body), context)); });
}

}  // namespace kalvetra
