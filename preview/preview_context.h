// What the routes share. All of it may be used from several threads at once.
#pragma once

#include <atomic>
#include <filesystem>
#include <string>
#include <vector>

#include "media/source_options.h"
#include "parameters/animated_settings.h"
#include "preview/precedence.h"
#include "preview/routes.h"

namespace kalvetra {

// What the user asked for on the command line.
struct PreviewOptions {
  std::string input;
  SourceOptions source;
  std::vector<std::string> sourceArguments;    // the same as options of `kalvetra key`: "--raw", "64x36@25:rgb24"
  std::vector<std::filesystem::path> folders;  // for presets, backgrounds and exports; nothing else is touched
  std::string background;                      // a file, or empty
  std::string preset;                          // a file, or empty
  int threads = 1;
};

struct PreviewContext {
  PreviewContext(PreviewOptions given, std::atomic<bool>& stopWord) : options(std::move(given)), stop(stopWord) {}

  const PreviewOptions options;
  std::atomic<bool>& stop;  // once true, all work is to end; set by the page's wish to quit, too
  Precedence precedence;    // of what the user waits for over work in the background
};

// One a topic, in a file of the same name. The context must outlive the routes.
void addSessionRoutes(Routes& routes, PreviewContext& context);  // session_routes.cpp: quit

// All of them.
Routes makeRoutes(PreviewContext& context);

}  // namespace kalvetra
