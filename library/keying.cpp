// Rendering, and finding settings: each call with its own threads and CPU level.
#include <tbb/task_arena.h>

#include <memory>
#include <optional>
#include <string>

#include "analysis/matte_views.h"
#include "analysis/proposal.h"
#include "engine/KalvetraFinalCut.h"
#include "library/answer.h"
#include "library/frames.h"
#include "library/lanes.h"
#include "library/lent_threads.h"
#include "library/plates.h"
#include "library/settings.h"
#include "parameters/parameter_manual.h"
#include "parameters/parameter_value.h"

namespace {

using namespace kalvetra;

// The checked arguments of a call that renders, and its threads.
struct Rendering {
  Rendering(const kalvetra_settings* given, const kalvetra_frame* from, const kalvetra_frame* to,
            const kalvetra_options* how)
      : options(how),
        settings(required(given, "settings").values.at(options.frame)),
        input(frameOf(from, "input")),
        output(frameOf(to, "output")),
        threads(options) {
    requireSameSize(input, output, "output", "the input");
  }

  // Calls draw(options) with what the frame is keyed against.
  template <class Draw>
  auto with(const Draw& draw) const {
    const std::shared_ptr<const Plate> plate = plateFor(settings, input, options, threads.workers());
    const KnownPlate known = plate ? plate->known() : KnownPlate{};
    const Scan scan = options.fields ? Scan::Fields : Scan::Whole;
    return draw(RenderOptions{scan, threads.workers(), plate ? &known : nullptr});
  }
  void run(const Frame& target) const {
    if (settings.view == kKalvetraViewSource) return renderInLane(settings, input, target);
    const refine::Materials* materials = options.plate != nullptr ? options.plate->materials.get() : nullptr;
    with([&](const RenderOptions& how) { renderInLane(settings, input, target, how, materials); });
  }

  CallOptions options;
  KeySettings settings;
  Frame input, output;
  LentThreads threads;
};

// Calls look(argb, width, height) with each frame.
template <class Look>
void lookAt(const kalvetra_frame* frames, size_t count, Look look) {
  required(frames, "frames");
  if (count == 0) throw Refusal{KALVETRA_BAD_ARGUMENT, "there are no frames to look at; give at least one"};
  for (size_t i = 0; i < count; ++i) {
    const std::string name = "frames[" + std::to_string(i) + "]";
    const Frame frame = frameOf(&frames[i], name.c_str());
    look(straightArgb(frame).data(), frame.width, frame.height);
  }
}

[[noreturn]] void refuseNoBackdrop(const std::string& missed) { throw Refusal{KALVETRA_NO_BACKDROP, missed}; }

std::optional<int> colorNamed(const char* text) {
  if (text == nullptr) return std::nullopt;
  const Parameter& parameter = *findParameter("key-color");
  const std::optional<int> color = parseValue(parameter, text);
  if (!color) throw Refusal{KALVETRA_BAD_SETTING, "key_color is no colour; give " + valueRange(parameter)};
  return color;
}

// Settings with their reasons.
kalvetra_settings settingsOf(const Proposal& proposal) {
  kalvetra_settings settings;
  settings.values = AnimatedSettings(proposal.settings);
  for (const Reason& reason : proposal.reasons) {
    settings.reasons[findParameter(reason.slug)->id] = reason.sentence;
  }
  for (const std::string& sentence : proposal.leftOut) {
    settings.leftOut += (settings.leftOut.empty() ? "" : "\n") + sentence;
  }
  return settings;
}

}  // namespace

int kalvetra_render(const kalvetra_settings* settings, const kalvetra_frame* input, const kalvetra_frame* output,
                    const kalvetra_options* options) {
  return answered([&] {
    const Rendering call(settings, input, output, options);
    call.run(call.output);
    return KALVETRA_OK;
  });
}

int kalvetra_render_plate(const kalvetra_settings* settings, const kalvetra_frame* input, const kalvetra_frame* output,
                          const kalvetra_options* options) {
  return answered([&] {
    const Rendering call(settings, input, output, options);
    return call.with([&](const RenderOptions& how) {
      return renderPlateInLane(call.settings, call.input, call.output, how) ? 1 : 0;
    });
  });
}

int kalvetra_render_status(const kalvetra_settings* settings, const kalvetra_frame* input, const kalvetra_frame* output,
                           const kalvetra_options* options, kalvetra_status* status) {
  return answered([&] {
    Rendering call(settings, input, output, options);
    call.settings.view = kKalvetraViewResult;
    Frame keyed = call.output;
    keyed.premultiplied = false;
    call.run(keyed);
    const MatteStatus counted = showStatus(keyed, keyed);
    if (status != nullptr) {
      *status = {counted.clear, counted.almostClear, counted.partial, counted.almostOpaque, counted.opaque};
    }
    return KALVETRA_OK;
  });
}

int kalvetra_pick(const kalvetra_frame* frames, size_t count, kalvetra_backdrop* backdrop) {
  return answered([&] {
    kalvetra_backdrop& answer = required(backdrop, "backdrop");
    BackdropFinder finder;
    lookAt(frames, count, [&](const unsigned char* argb, int width, int height) { finder.add(argb, width, height); });
    std::string missed;
    const std::optional<BackdropColor> found = finder.find(&missed);
    if (!found) refuseNoBackdrop(missed);
    answer = {found->red, found->green, found->blue, found->confidence, found->unevenness, {}};
    writeText(found->reason, answer.reason, sizeof answer.reason);
    return KALVETRA_OK;
  });
}

int kalvetra_propose(const kalvetra_frame* frames, size_t count, const char* key_color, const kalvetra_options* options,
                     kalvetra_settings* settings) {
  return answered([&] {
    const CallOptions checked(options);
    kalvetra_settings& target = required(settings, "settings");
    const std::optional<int> color = colorNamed(key_color);
    SettingsProposer proposer(static_cast<ChromaSampling>(checked.chroma));
    lookAt(frames, count, [&](const unsigned char* argb, int width, int height) { proposer.add(argb, width, height); });
    std::string missed;
    std::optional<Proposal> proposal;
    tbb::task_arena(checked.threads).execute([&] {
      std::optional<CpuLevelScope> level;
      if (checked.cpu) level.emplace(*checked.cpu);
      KeySettings start = defaultSettings();
      setValue(start, *findParameter("plate"), *parseValue(*findParameter("plate"), "fit"));
      if (color) {
        setValue(start, *findParameter("key-color"), *color);
        start.screen = screenForColor(start);
      }
      proposal = proposer.propose(start, color.has_value(), &missed);
    });
    if (!proposal) refuseNoBackdrop(missed);
    target = settingsOf(*proposal);
    return KALVETRA_OK;
  });
}
