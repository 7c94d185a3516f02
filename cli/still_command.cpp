#include <algorithm>
#include <memory>
#include <string>

#include "cli/commands.h"
#include "cli/common_options.h"
#include "cli/console.h"
#include "cli/interrupt.h"
#include "cli/settled_key.h"
#include "jobs/frame_keyer.h"
#include "media/files/name_clash.h"
#include "media/files/temporary_output.h"
#include "media/input/frame_at.h"
#include "media/output/picture_writer.h"
#include "media/pixels/frame_packer.h"
#include "media/pixels/picture_depth.h"
#include "support/user_error.h"

namespace kalvetra {

namespace {

struct StillCommand : CommonOptions {
  SourceOptions source;
  KeyingChoice keying;
  KeyChoice choice;
  double seconds = 0.0;
};

constexpr int kChecker = 16;  // pixels a square

// Lays a picture over a checkerboard of two greys.
void layOverCheckerboard(Image& image) {
  for (int y = 0; y < image.height; ++y) {
    unsigned char* pixel = image.row(y);
    for (int x = 0; x < image.width; ++x, pixel += 4) {
      const int grey = (x / kChecker + y / kChecker) % 2 == 0 ? 102 : 153;
      for (int c = 1; c < 4; ++c) {
        pixel[c] = static_cast<unsigned char>((pixel[c] * pixel[0] + grey * (255 - pixel[0]) + 127) / 255);
      }
      pixel[0] = 255;
    }
  }
}

// Source, matte and result side by side, upright.
Image contactSheet(FrameKeyer& keyer, int quarterTurns) {
  Image sheet;
  int left = 0;
  for (const ShownView view : {ShownView::Source, ShownView::Matte, ShownView::Result}) {
    const Image& shown = keyer.view(view);
    Image panel = turned(shown.isDeep() ? narrowed(shown, false) : shown, quarterTurns);
    layOverCheckerboard(panel);
    if (sheet.width == 0) sheet.resize(3 * panel.width, panel.height);
    for (int y = 0; y < panel.height; ++y) {
      std::copy_n(panel.row(y), std::ptrdiff_t{4} * panel.width, sheet.row(y) + std::ptrdiff_t{4} * left);
    }
    left += panel.width;
  }
  return sheet;
}

void run(const StillCommand& options) {
  if (!options.output.ends_with(".png")) throw UserError(options.output + ": a still is a PNG; end its name in .png");
  refuseOverwritingInput(options.input, options.output);
  for (const std::string& written : {options.output, options.choice.savedPreset}) {
    for (const std::string& read : {options.choice.cleanPlate, options.choice.presetFile}) {
      if (!written.empty() && !read.empty()) refuseOverwritingInput(read, written);
    }
  }
  TemporaryOutput output(options.output, options.replace);
  noteAll(output.leftParts());
  Reader reader(options.input, options.source, options.threads, stopRequested());
  KeyJob job;
  job.input = options.input;
  job.source = options.source;
  job.keying = options.keying;
  job.cleanPlate = options.choice.cleanPlate;
  job.threads = options.threads;
  const ClipKeying keying(reader, options.keying);
  if (keying.deep()) checkDeepLook(options.choice);
  const auto [settings, plates] = settleKey(options.choice, reader, job);
  savePreset(options.choice.savedPreset, settings, options, keying.deep());
  std::int64_t number = 0;
  const SourceFrame frame = frameShownAt(reader, options.seconds, stopRequested(), &number);
  FrameKeyer keyer(keying);
  keyer.begin(*frame.picture, settings.at(number), {}, knownOf(plates, number));
  const Image sheet = contactSheet(keyer, reader.format().quarterTurns());
  PictureWriter writer(output, options.output, AV_PIX_FMT_RGBA, sheet.width, sheet.height);
  writer.write(FramePacker(AV_PIX_FMT_RGBA, AVCOL_SPC_RGB).pack(sheet));
  writer.finish();
  throwIfInterrupted();
  output.commit();
}

}  // namespace

void addStillCommand(CLI::App& program) {
  CLI::App* command =
      program.add_subcommand("still", "Show one frame: source, matte and result over a checkerboard, side by side.");
  auto options = std::make_shared<StillCommand>();
  command->add_option("INPUT", options->input, "What to key.")->required();
  command->add_option("OUT.png", options->output, "The picture to write.")->required();
  command->add_option("--at", options->seconds, "The frame's time in seconds.")
      ->check(CLI::Range(0.0, 3600.0 * 1000.0))
      ->type_name("S");
  addRawOption(*command, options->source);
  addKeyingOptions(*command, options->keying);
  addDepthOption(*command, options->keying);
  addReplaceOption(*command, *options);
  addThreadsOption(*command, *options);
  addCpuOption(*command);
  addKeyOptions(*command, options->choice);
  command->callback([options] {
    settleDepth(options->choice, options->keying);
    run(*options);
  });
}

}  // namespace kalvetra
