#include "parameters/preset.h"

#include <fstream>
#include <nlohmann/json.hpp>

#include "parameters/parameter_json.h"
#include "support/user_error.h"

namespace kalvetra {

namespace {

constexpr std::size_t kLargestFile = 16 << 20;  // bytes

std::string jsonCurve(const Parameter& p, const Curve& curve) {
  if (curve.size() == 1) return jsonOf(p, curve.front().value).dump();
  std::string text;
  for (const Keyframe& k : curve) {
    text += (text.empty() ? "[" : ", ") + ("[" + std::to_string(k.frame)) + ", " + jsonOf(p, k.value).dump() + "]";
  }
  return text + "]";
}

}  // namespace

Preset readPreset(const std::string& file) {
  std::ifstream in(file, std::ios::binary);
  if (!in) throw UserError(file + ": cannot be opened; check the preset's name");
  std::string text(kLargestFile + 1, '\0');
  in.read(text.data(), static_cast<std::streamsize>(text.size()));
  if (in.bad()) throw UserError(file + ": cannot be read; name a preset file");
  text.resize(static_cast<std::size_t>(in.gcount()));
  if (text.size() > kLargestFile) throw UserError(file + ": is larger than 16 MiB, which no preset is");
  return parsePreset(text, file);
}

void checkDeepLook(int deepLook, const std::string& name) {
  if (deepLook <= kDeepLookVersion) return;
  throw UserError(name + ": the preset is for look " + std::to_string(deepLook) +
                  " of the key at full depth, this program has look " + std::to_string(kDeepLookVersion) +
                  "; use a newer program, or key in 8 bits (--depth 8)");
}

void applyPreset(const Preset& preset, AnimatedSettings& settings) {
  for (const auto& [id, curve] : preset.curves) settings.set(*findParameter(id), curve);
}

std::string presetText(const AnimatedSettings& settings, bool deep) {
  std::string lines;
  for (const Parameter& p : kParameters) {
    if (p.kind == ParameterKind::Group) continue;
    lines += (lines.empty() ? "" : ",\n") + ("    \"" + std::string(p.slug)) + "\": " + jsonCurve(p, settings.curve(p));
  }
  const std::string deepLook = deep ? ",\n  \"deep-look\": " + std::to_string(kDeepLookVersion) : "";
  return "{\n  \"look\": " + std::to_string(kLookVersion) + deepLook + ",\n  \"settings\": {\n" + lines + "\n  }\n}\n";
}

}  // namespace kalvetra
