#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <memory>

#include "cli/commands.h"
#include "cli/common_options.h"
#include "cli/console.h"
#include "cli/interrupt.h"
#include "cli/key_options.h"
#include "preview/api/preview_context.h"
#include "preview/export/private_folder.h"
#include "preview/http/preview_server.h"
#include "support/shell_quoted.h"
#include "support/user_error.h"

namespace kalvetra {

namespace {

struct PreviewCommand : CommonOptions {
  PreviewOptions preview;
  KeyChoice choice;  // of plate and screen
  KeyingChoice keying;
  int port = 0;
  bool open = true;
};

bool hasDesktop() {
#ifdef __APPLE__
  return true;
#else
  const auto isSet = [](const char* name) { return std::getenv(name) != nullptr && *std::getenv(name) != '\0'; };
  return isSet("DISPLAY") || isSet("WAYLAND_DISPLAY");
#endif
}

// A page that leads to the address, for this user alone. All users see what commands are given, but not what is in
// here.
std::filesystem::path writeRedirect(const PrivateFolder& folder, const std::string& address) {
  const std::filesystem::path path = std::filesystem::absolute(folder.path() / "kalvetra-preview.html");
  std::ofstream out(path);
  std::filesystem::permissions(path, std::filesystem::perms::owner_read | std::filesystem::perms::owner_write);
  out << "<!doctype html><meta charset=\"utf-8\"><meta name=\"referrer\" content=\"no-referrer\">"
      << "<meta http-equiv=\"refresh\" content=\"0; url=" << address << "\"><title>Kalvetra</title>"
      << "<a href=\"" << address << "\">Open the preview</a>\n"
      << std::flush;
  if (!out) throw UserError("the disk may be full");
  return path;
}

void openBrowser(const std::filesystem::path& page) {
#ifdef __APPLE__
  const std::string command = "open " + shellQuoted(page.string());
#else
  const std::string command = "xdg-open " + shellQuoted(page.string()) + " >/dev/null 2>&1 &";
#endif
  if (std::system(command.c_str()) != 0) note("no browser could be opened; open the address yourself");
}

// The folder is to stay for as long as a browser may load the page.
std::unique_ptr<PrivateFolder> showPage(const std::string& address) {
  try {
    auto folder = std::make_unique<PrivateFolder>();
    openBrowser(writeRedirect(*folder, address));
    return folder;
  } catch (const std::exception& error) {
    note(std::string("no browser was opened (") + error.what() + "); open the address yourself");
    return nullptr;
  }
}

void run(const CLI::App& command, PreviewCommand& options) {
  options.preview.input = options.input;
  options.preview.threads = options.threads;
  options.preview.named = options.choice.named;
  options.preview.cleanPlate = options.choice.cleanPlate;
  options.preview.searchScreen = options.choice.searchScreen;
  options.preview.plain = options.choice.plain;
  settledDepth(options.keying.depth, withNamed(options.choice).at(0));  // refuses what does not go together
  options.preview.depth = options.keying.depth;
  for (const char* name : {"--raw", "--rate"}) {
    if (command.count(name) == 0) continue;
    options.preview.sourceArguments.emplace_back(name);
    options.preview.sourceArguments.push_back(command.get_option(name)->results().back());
  }
  PreviewContext context(options.preview, stopRequested());
  PreviewServer server(makeRoutes(context), options.port);
  std::puts(server.address().c_str());
  std::fflush(stdout);
  std::unique_ptr<PrivateFolder> redirect;
  if (options.open && hasDesktop()) redirect = showPage(server.address());
  server.run(stopRequested());
}

}  // namespace

void addPreviewCommand(CLI::App& program) {
  CLI::App* command =
      program.add_subcommand("preview", "Find a clip's settings on a page in the browser, and export from there.");
  auto options = std::make_shared<PreviewCommand>();
  command->add_option("CLIP", options->input, "What to key: a video, an image, or a sequence like shot-%05d.png.")
      ->required();
  command
      ->add_option("--folder", options->preview.folders,
                   "Folder for presets, backgrounds and exports; exports go to the first. May be given several times.")
      ->type_name("DIR")
      ->expected(1)
      ->multi_option_policy(CLI::MultiOptionPolicy::TakeAll);
  command->add_option("--background", options->preview.background, "Picture or clip to show behind the subject.")
      ->type_name("FILE");
  command->add_option("--preset", options->preview.preset, "Settings to begin with.")->type_name("FILE");
  command->add_flag("!--no-open", options->open, "Do not open a browser, only print the page's address.");
  command->add_option("--port", options->port, "Port to listen on; by default a free one.")
      ->check(CLI::Range(1, 65535))
      ->type_name("1..65535");
  addRawOption(*command, options->preview.source);
  addRateOption(*command, options->preview.source);
  addDepthOption(*command, options->keying);
  addMatteOptions(*command, options->preview.mattes);
  addPlateOptions(*command, options->choice);
  addThreadsOption(*command, *options);
  addCpuOption(*command);
  command->callback([command, options] { run(*command, *options); });
}

}  // namespace kalvetra
