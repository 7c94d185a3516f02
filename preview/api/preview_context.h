// What the routes share. All of it may be used from several threads at once.
#pragma once

#include <atomic>
#include <filesystem>
#include <future>
#include <optional>
#include <string>
#include <vector>

#include "jobs/auto_settings.h"
#include "media/input/source_options.h"
#include "parameters/animated_settings.h"
#include "parameters/preset.h"
#include "preview/clip/backgrounds.h"
#include "preview/clip/clip_frames.h"
#include "preview/clip/clip_mattes.h"
#include "preview/clip/plate_cache.h"
#include "preview/clip/precedence.h"
#include "preview/clip/renderer.h"
#include "preview/clip/turns.h"
#include "preview/export/folders.h"
#include "preview/http/routes.h"

namespace kalvetra {

// What the user asked for on the command line.
struct PreviewOptions {
  std::string input{};
  SourceOptions source{};
  std::vector<std::string> sourceArguments{};    // the same as options of `kalvetra key`: "--raw", "64x36@25:rgb24"
  std::vector<std::filesystem::path> folders{};  // for presets, backgrounds and exports; nothing else is touched
  std::string background{};                      // a file, or empty
  CompanionPaths mattes{};                       // without a background
  std::string preset{};                          // a file, or empty
  std::string cleanPlate{};                      // a file, or empty
  std::map<int, Curve> named{};                  // settings to begin with, over the preset's; by the parameter's id
  bool searchScreen = false;                     // the screen after the key colour, whatever a preset names
  bool plain = false;                            // all else begins at the table's defaults
  DepthChoice depth = DepthChoice::Auto;         // to begin with
  int threads = 1;
};

// The backdrop that was found, or a sentence that says why there is none.
struct Pick {
  std::optional<FoundBackdrop> found;
  std::string failure;
};

class PreviewContext {
 public:
  // Opens the clip, and begins to look for its backdrop and plates. Throws UserError for a clip, a matte, a preset or a
  // background that cannot be read or does not fit, and for a folder that is none.
  PreviewContext(PreviewOptions given, std::atomic<bool>& stopWord);

  const PreviewOptions options;
  std::atomic<bool>& stop;  // once true, all work is to end; set by the page's wish to quit, too
  Precedence precedence;    // of what the user waits for over work in the background
  const Folders folders;
  Turns turns;  // of renders
  ClipFrames clip;
  ClipFrames thumbnails;  // the same clip, so that its thumbnails do not disturb what is looked at
  ClipMattes mattes;
  PlateCache plates;
  Renderer renderer;
  Backgrounds backgrounds;

  // Of the clip.
  std::int64_t frames() { return clip.count(); }
  // Waits for it.
  const Pick& pick() const { return pick_.get(); }
  // What `kalvetra key` with the same options would do, as far as it is known: without a key colour nothing is found.
  // Waits for it.
  const UsualKey& beginning() const { return beginning_.get(); }
  // What the options name, and the preset beside them; by the parameter's id.
  const std::map<int, Curve>& named() const { return named_; }
  // The file of that plain name among the background and the files in the folders. Throws UserError.
  std::string backgroundFile(const std::string& name) const;

 private:
  std::map<int, Curve> named_;
  AnimatedSettings namedSettings() const;
  UsualKey begin();
  std::shared_future<Pick> pick_;
  std::shared_future<UsualKey> beginning_;
};

// One a topic, in a file of the same name. The context must outlive the routes.
void addClipRoutes(Routes& routes, PreviewContext& context);      // clip, parameters
void addCommandRoutes(Routes& routes, PreviewContext& context);   // command
void addExportRoutes(Routes& routes, PreviewContext& context);    // export
void addFileRoutes(Routes& routes, PreviewContext& context);      // files, preset
void addPictureRoutes(Routes& routes, PreviewContext& context);   // picture, thumbnail
void addPixelRoutes(Routes& routes, PreviewContext& context);     // pixel, sample
void addProposalRoutes(Routes& routes, PreviewContext& context);  // pick, propose
void addQuitRoute(Routes& routes, PreviewContext& context);       // quit
void addStripRoutes(Routes& routes, PreviewContext& context);     // strip
void addWheelRoutes(Routes& routes, PreviewContext& context);     // wheel

// All of them.
Routes makeRoutes(PreviewContext& context);

}  // namespace kalvetra
