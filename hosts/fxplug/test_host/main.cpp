// The command `kalvetra-fxhost`: keys a picture through the filter bundle as an editor would, or lists its parameters
// as an inspector would show them. Exit status: 0 done, 1 failed, 2 wrong usage.
#include <CLI/CLI.hpp>
#include <algorithm>
#include <atomic>
#include <cmath>
#include <cstdio>
#include <exception>
#include <string>
#include <vector>

#include "hosts/fxplug/pixel_conversion.h"
#include "hosts/fxplug/test_host/hosted_filter.h"
#include "media/files/name_clash.h"
#include "media/files/temporary_output.h"
#include "media/input/frame_at.h"
#include "media/output/picture_writer.h"
#include "media/pixels/frame_packer.h"
#include "support/user_error.h"

namespace {

using namespace kalvetra;
using fxhost::HostedFilter;
using fxhost::HostParameter;
using fxhost::HostPicture;
using fxhost::Kind;

struct Options {
  std::string bundle, input, output, language = "en";
  unsigned int depth = 8;
  bool premultiplied = false, list = false, replace = false;
  std::vector<std::string> settings;
};

std::string shownValue(const HostParameter& p) {
  char text[64] = "";
  switch (p.kind) {
    case Kind::Group:
      break;
    case Kind::Popup:
      return p.entries.at(static_cast<std::size_t>(p.value[0]));
    case Kind::Color:
      std::snprintf(text, sizeof text, "%.3f %.3f %.3f", p.value[0], p.value[1], p.value[2]);
      break;
    case Kind::Toggle:
      return p.value[0] != 0 ? "[x]" : "[ ]";
    case Kind::IntSlider:
      std::snprintf(text, sizeof text, "%d  (%d..%d)", static_cast<int>(p.value[0]), p.minimum, p.maximum);
      break;
  }
  return text;
}

void list(HostedFilter& filter) {
  const std::string title = filter.localized(filter.registration().displayName);
  std::printf("%s  (%s)\n", title.c_str(), filter.localized(filter.registration().groupName).c_str());
  for (const HostParameter& p : filter.parameters()) {
    const std::string indent(static_cast<std::size_t>(p.depth + 1) * 2, ' ');
    const std::string value = shownValue(p);
    std::printf("%s%2d %s%s%s%s\n", indent.c_str(), p.id, p.name.c_str(), value.empty() ? "" : ": ", value.c_str(),
                p.disabled() ? "  - disabled" : "");
  }
}

// "17=4", or "3=0.2,0.6,0.3" for a colour; then notifies the filter, as an inspector does.
void apply(HostedFilter& filter, const std::string& setting) {
  int id = 0, used = 0;
  double v[3] = {};
  if (std::sscanf(setting.c_str(), "%d=%lf%n", &id, &v[0], &used) < 2) {
    throw UserError("--set " + setting + ": give ID=VALUE, or ID=RED,GREEN,BLUE with components in 0..1");
  }
  HostParameter& p = filter.parameter(id);
  const char* rest = setting.c_str() + used;
  int usedMore = 0;
  const bool color = p.kind == Kind::Color;
  if (color && std::sscanf(rest, ",%lf,%lf%n", &v[1], &v[2], &usedMore) == 2) rest += usedMore;
  if (*rest != '\0' || (color && usedMore == 0) || p.kind == Kind::Group) {
    throw UserError("--set " + setting + ": not a value of parameter " + std::to_string(id) + " (" + p.name + ")");
  }
  // Written so that not a number fails too.
  const bool inside = color ? std::all_of(v, v + 3, [](double c) { return c >= 0.0 && c <= 1.0; })
                            : v[0] >= p.minimum && v[0] <= p.maximum && v[0] == std::trunc(v[0]);
  if (!inside) {
    throw UserError("--set " + setting + ": " + p.name + " takes " +
                    (color ? "components in 0..1"
                           : "whole numbers " + std::to_string(p.minimum) + ".." + std::to_string(p.maximum)));
  }
  std::copy(v, v + 3, p.value);
  filter.parameterChanged(id);
}

HostPicture hostPicture(const Image& image, const Options& options) {
  HostPicture picture(image.width, image.height, options.depth);
  if (options.depth == 8) {
    picture.data = image.bytes;
  } else {
    bytesToFloats(image.bytes.data(), picture.floats(), image.bytes.size() / 4, false);
  }
  return picture;
}

Image imageOf(HostPicture& picture) {
  Image image(picture.width, picture.height);
  if (picture.depth == 8) {
    image.bytes = picture.data;
    return image;
  }
  // Back to 8 bits, rounded: what the filter wrote as byte / 255 comes back as that byte.
  for (std::size_t i = 0; i < image.bytes.size(); i += 4) {
    for (std::size_t c = 0; c < 4; ++c) {
      image.bytes[i + (c + 1) % 4] = static_cast<unsigned char>(picture.floats()[i + c] * 255.0f + 0.5f);
    }
  }
  return image;
}

void keyPicture(HostedFilter& filter, const Options& options) {
  static const std::atomic<bool> never{false};
  refuseOverwritingInput(options.input, options.output);
  const HostPicture input = hostPicture(frameAt(options.input, 0.0, 1, never), options);
  std::uint32_t width = 0, height = 0;
  bool hardware = false, software = false;
  const bool ready =
      filter.frameSetup(input, hardware, software) && software && filter.outputSize(input, &width, &height);
  HostPicture output(static_cast<int>(width), static_cast<int>(height), options.depth);
  output.premultiplied = options.premultiplied;
  const bool rendered = ready && filter.render(output, input);
  if (!filter.frameCleanup() || !rendered) throw UserError(options.input + ": the filter could not render it");
  const Image image = imageOf(output);
  TemporaryOutput place(options.output, options.replace);
  PictureWriter writer(place, options.output, AV_PIX_FMT_RGBA, image.width, image.height);
  writer.write(FramePacker(AV_PIX_FMT_RGBA, AVCOL_SPC_RGB).pack(image));
  writer.finish();
  place.commit();
}

void run(const Options& options) {
  HostedFilter filter(options.bundle, options.language);
  filter.properties();  // as every host does first
  if (!filter.addParameters()) throw UserError(options.bundle + ": the filter created no parameters");
  for (const std::string& setting : options.settings) apply(filter, setting);
  if (options.list) {
    list(filter);
  } else {
    keyPicture(filter, options);
  }
}

}  // namespace

int main(int argc, char** argv) {
  av_log_set_level(AV_LOG_QUIET);
  CLI::App program("Keys a picture through the filter bundle as an editor would.", "kalvetra-fxhost");
  Options options;
  program.set_version_flag("--version", "kalvetra-fxhost " KALVETRA_VERSION);
  program.add_option("BUNDLE", options.bundle, "The bundle: KalvetraGreen.bundle.")->required();
  auto* input = program.add_option("IN.png", options.input, "The picture to key.");
  auto* output = program.add_option("OUT.png", options.output, "The picture to write.");
  program.add_option("--depth", options.depth, "Bits a component of the host's pictures.")
      ->check(CLI::IsMember({8, 32}))
      ->capture_default_str();
  program.add_flag("--premultiplied", options.premultiplied, "Ask for premultiplied output.");
  program.add_option("--set", options.settings, "Set a parameter: ID=VALUE, a colour as ID=RED,GREEN,BLUE in 0..1.")
      ->type_name("ID=VALUE")
      ->expected(1)
      ->take_all();
  program.add_flag("--list", options.list, "List the parameters as an inspector shows them.");
  program.add_option("--language", options.language, "Language of the texts.")
      ->check(CLI::IsMember({"en", "ja"}))
      ->capture_default_str();
  program.add_flag("-y,--yes", options.replace, "Replace an output that exists.");
  try {
    program.parse(argc, argv);
    if (!options.list && (input->count() == 0 || output->count() == 0)) {
      throw CLI::ValidationError("IN.png and OUT.png are required, or --list");
    }
    run(options);
    return 0;
  } catch (const CLI::ParseError& error) {
    if (error.get_exit_code() == 0) return program.exit(error);
    std::fprintf(stderr, "kalvetra-fxhost: %s (see --help)\n", error.what());
    return 2;
  } catch (const std::exception& error) {
    std::fprintf(stderr, "kalvetra-fxhost: %s\n", error.what());
    return 1;
  }
}
