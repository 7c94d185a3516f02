#include "preview/export/plain_name.h"

#include <algorithm>
#include <nlohmann/json.hpp>

#include "support/user_error.h"

namespace kalvetra {

namespace {

constexpr std::size_t kLongest = 200;  // bytes; file systems allow 255, of which a hidden name takes some

std::string fault(const std::string& name) {
  if (name.empty()) return "is empty";
  if (!isUtf8(name)) return "is not UTF-8";
  if (name.size() > kLongest) return "is longer than " + std::to_string(kLongest) + " bytes";
  if (name.find_first_of("/\\") != std::string::npos) return "has a / or \\ in it; folders cannot be named";
  if (name.front() == '.') return "begins with a dot";
  const auto isControl = [](unsigned char c) { return c < ' ' || c == 0x7f; };
  if (std::any_of(name.begin(), name.end(), isControl)) return "has a control character in it";
  return {};
}

}  // namespace

bool isUtf8(const std::string& text) {
  try {
    static_cast<void>(nlohmann::json(text).dump());
    return true;
  } catch (const nlohmann::json::type_error&) {
    return false;
  }
}

bool isPlainName(const std::string& name) { return fault(name).empty(); }

void checkPlainName(const std::string& name) {
  const std::string why = fault(name);
  if (why.empty()) return;
  const bool fit = isUtf8(name) && name.size() <= kLongest && why.find("control") == std::string::npos;
  throw UserError("the name " + (fit ? "'" + name + "' " : std::string()) + why + "; give a plain file name");
}

}  // namespace kalvetra
