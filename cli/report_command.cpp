#include <algorithm>
#include <charconv>
#include <cmath>
#include <cstdio>
#include <memory>
#include <nlohmann/json.hpp>
#include <optional>
#include <string>
#include <vector>

#include "analysis/matte_quality.h"
#include "cli/commands.h"
#include "cli/common_options.h"
#include "cli/console.h"
#include "cli/interrupt.h"
#include "cli/matte_reader.h"
#include "cli/progress.h"
#include "cli/source_comparison.h"
#include "parameters/parameter_manual.h"
#include "parameters/parameter_value.h"
#include "support/number_text.h"
#include "support/shown_text.h"
#include "support/user_error.h"

namespace kalvetra {

namespace {

struct ReportCommand : CommonOptions {
  bool json = false;
  std::optional<double> maxFlicker, maxHaze, maxHoles;
  std::array<std::optional<double>, kFaultRows.size()> maxFaults;
  ComparisonChoice comparison;
};

std::string number(double value, const char* unit) {
  char text[48];
  std::snprintf(text, sizeof text, "%.2f%s", value, unit);
  return text;
}

void printFigure(const char* name, const MatteFigure& figure, const char* unit) {
  if (!figure.mean) {
    std::printf("  %-14s%12s\n", name, "-");
    return;
  }
  std::printf("  %-14s%12s%14s in frame %lld\n", name, number(*figure.mean, unit).c_str(),
              number(figure.worst, unit).c_str(), static_cast<long long>(figure.worstFrame));
}

void printFaults(const SourceComparison& comparison) {
  std::printf("\n  beside the source, key colour %s, a %s screen, %s:\n",
              valueText(*findParameter("key-color"), comparison.keyColor()).c_str(),
              comparison.screen() == 1 ? "blue" : "green", counted(comparison.report().pictures(), "picture").c_str());
  for (std::size_t i = 0; i < kFaultRows.size(); ++i) {
    printFigure(kFaultRows[i].name, comparison.report().figures()[i], "  ");
  }
}

void printReport(const MatteReport& report, const MatteReader& source, const SourceComparison* comparison) {
  std::printf("%s: %s of %d x %d, measured in %s\n\n", shownText(source.path()).c_str(),
              counted(report.frames, "frame").c_str(), source.format().width, source.format().height,
              source.takesGrey() ? "its grey" : "its alpha");
  std::printf("  %-14s%12s%14s\n", "", "clip", "worst");
  printFigure("edge flicker", report.flicker, "  ");
  printFigure("haze", report.haze, " %");
  printFigure("hazy pixels", report.hazyPixels, " %");
  printFigure("holes", report.holes, " %");
  std::printf("\n  clear %.1f %%, edge band %.1f %%, solid %.1f %% of the picture\n", report.clearArea, report.edgeBand,
              report.solidArea);
  std::printf("  of its pixels %.1f %% are clear, %.1f %% partial, %.1f %% solid\n", report.clearPixels,
              report.partialPixels, report.solidPixels);
  if (comparison != nullptr) printFaults(*comparison);
}

nlohmann::json asJson(const MatteFigure& figure) {
  if (!figure.mean) return nullptr;
  return {{"mean", *figure.mean}, {"worst", figure.worst}, {"worst_frame", figure.worstFrame}};
}

void printJson(const MatteReport& report, const MatteReader& source, const SourceComparison* comparison) {
  nlohmann::json json{{"file", source.path()},
                      {"frames", report.frames},
                      {"width", source.format().width},
                      {"height", source.format().height},
                      {"measured", source.takesGrey() ? "grey" : "alpha"},
                      {"flicker_levels", asJson(report.flicker)},
                      {"haze_percent", asJson(report.haze)},
                      {"hazy_pixels_percent", asJson(report.hazyPixels)},
                      {"holes_percent", asJson(report.holes)},
                      {"clear_area_percent", report.clearArea},
                      {"edge_band_percent", report.edgeBand},
                      {"solid_area_percent", report.solidArea},
                      {"clear_pixels_percent", report.clearPixels},
                      {"partial_pixels_percent", report.partialPixels},
                      {"solid_pixels_percent", report.solidPixels}};
  if (comparison != nullptr) {
    json["compared_pictures"] = comparison->report().pictures();
    json["key_color"] = valueText(*findParameter("key-color"), comparison->keyColor());
    json["screen"] = comparison->screen() == 1 ? "blue" : "green";
    for (std::size_t i = 0; i < kFaultRows.size(); ++i) {
      json[std::string(kFaultRows[i].slug) + "_levels"] = asJson(comparison->report().figures()[i]);
    }
  }
  // A file name may hold bytes that are no UTF-8.
  std::printf("%s\n", json.dump(2, ' ', false, nlohmann::json::error_handler_t::replace).c_str());
}

// A sentence for a figure that is over its limit, or that could not be measured; empty when all is well.
std::string broken(const std::optional<double>& limit, const MatteFigure& figure, const std::string& name,
                   const char* unit, const char* nothing) {
  if (!limit) return {};
  if (!figure.mean) return name + " cannot be held to a limit: " + nothing;
  if (*figure.mean <= *limit) return {};
  char text[64];
  std::snprintf(text, sizeof text, " is %.4g%s, over the limit of %.4g%s", *figure.mean, unit, *limit, unit);
  return name + text + "; worst is frame " + std::to_string(figure.worstFrame);
}

// Throws UserError when a limit is broken; of several, all but the last are reported before it.
void holdToLimits(const ReportCommand& options, const MatteReport& report, const SourceComparison* comparison) {
  std::vector<std::string> sentences;
  for (const std::string& sentence :
       {broken(options.maxFlicker, report.flicker, "the edge's flicker", " levels",
               "no four pictures in a row have an edge"),
        broken(options.maxHaze, report.haze, "the haze", " %", "no picture has a clear region"),
        broken(options.maxHoles, report.holes, "the share of holes", " %", "no picture has a solid region")}) {
    if (!sentence.empty()) sentences.push_back(options.input + ": " + sentence);
  }
  for (std::size_t i = 0; i < kFaultRows.size() && comparison != nullptr; ++i) {
    const std::string name = std::string("the fault '") + kFaultRows[i].slug + "'";
    const std::string sentence = broken(options.maxFaults[i], comparison->report().figures()[i], name, " levels", "");
    if (!sentence.empty()) sentences.push_back(options.input + ": " + sentence);
  }
  if (sentences.empty()) return;
  for (std::size_t i = 0; i + 1 < sentences.size(); ++i) note(sentences[i]);
  throw UserError(sentences.back());
}

void run(const ReportCommand& options) {
  MatteReader source(options.input, options.threads, stopRequested());
  MatteQuality quality(source.format().width, source.format().height);
  std::optional<SourceComparison> comparison;
  if (!options.comparison.source.empty()) {
    comparison.emplace(options.comparison, source.format(), source.expectedFrames(), options.threads, stopRequested());
  }
  Progress progress(source.expectedFrames());
  for (MattePlane matte; !stopRequested() && source.next(matte);) {
    if (comparison) {
      if (source.takesGrey())
        throw UserError(options.input + ": only a keyed clip with alpha is compared with --source");
      comparison->add(source.picture());
    }
    quality.add(std::move(matte));
    progress.advance();
  }
  progress.end();
  throwIfInterrupted();
  if (progress.frames() == 0) throw UserError(options.input + ": no picture in it can be read; check the file");
  if (comparison && source.damagedFrames() == 0) comparison->end();
  const MatteReport report = quality.report();
  const SourceComparison* compared = comparison ? &*comparison : nullptr;
  options.json ? printJson(report, source, compared) : printReport(report, source, compared);
  std::fflush(stdout);
  if (source.damagedFrames() > 0) {
    throw UserError(options.input + ": the file is damaged: " + counted(source.damagedFrames(), "frame") +
                    " lost or with errors; the figures are those of the rest");
  }
  holdToLimits(options, report, compared);
}

// A number from 0 to `most`; "nan" and the like would pass every comparison.
CLI::Validator limitUpTo(double most) {
  const auto refuse = [most](const std::string& text) {
    double value = 0.0;
    const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), value);
    const bool good = error == std::errc() && end == text.data() + text.size() && value >= 0.0 && value <= most;
    return good ? std::string() : "'" + text + "' is no limit; give a number from 0 to " + number(most, "");
  };
  return CLI::Validator(refuse, "");
}

void addComparisonOptions(CLI::App& command, ReportCommand& options) {
  const Parameter &color = *findParameter("key-color"), &screen = *findParameter("screen");
  CLI::Option* source = command.add_option("--source", options.comparison.source,
                                           "What was keyed: report, too, how the key looks beside it.");
  source->type_name("FILE");
  const auto named = [&](const char* name, const Parameter& parameter, std::optional<int>& value, const char* help) {
    const auto set = [name, &parameter, &value](const std::string& text) {
      value = parseValue(parameter, text);
      if (!value) throw CLI::ValidationError(name, "'" + text + "' is no value; give " + valueRange(parameter));
    };
    command.add_option_function<std::string>(name, set, help)->needs(source)->type_name(valueRange(parameter));
  };
  named("--key-color", color, options.comparison.keyColor, "The screen's colour in it, not the one found.");
  named("--screen", screen, options.comparison.screen, "What kind of screen it is, not what its colour says.");
  for (std::size_t i = 0; i < kFaultRows.size(); ++i) {
    const std::string slug = kFaultRows[i].slug;
    command
        .add_option("--max-" + slug, options.maxFaults[i], "Fail when the figure '" + slug + "' is higher, in levels.")
        ->check(limitUpTo(255.0 * static_cast<double>(kFaultRows.size())))
        ->needs(source)
        ->type_name("LEVELS");
  }
}

}  // namespace

void addReportCommand(CLI::App& program) {
  CLI::App* command = program.add_subcommand("report", "Measure how good a keyed clip's matte is.");
  auto options = std::make_shared<ReportCommand>();
  command->add_option("KEYED", options->input, "A keyed clip, measured in its alpha, or a matte in grey.")->required();
  const auto limit = [&](const char* name, std::optional<double>& value, double most, const char* unit,
                         const char* help) {
    command->add_option(name, value, help)->check(limitUpTo(most))->type_name(unit);
  };
  command->add_flag("--json", options->json, "Print JSON.");
  limit("--max-flicker", options->maxFlicker, 255.0, "LEVELS", "Fail when the edge flickers more, in levels of 255.");
  limit("--max-haze", options->maxHaze, 100.0, "PERCENT", "Fail when more haze is left in the clear region.");
  limit("--max-holes", options->maxHoles, 100.0, "PERCENT", "Fail when more is missing from the solid region.");
  addComparisonOptions(*command, *options);
  addThreadsOption(*command, *options);
  command->callback([options] { run(*options); });
}

}  // namespace kalvetra
