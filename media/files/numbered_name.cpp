#include "media/files/numbered_name.h"

#include <algorithm>

#include "support/folders.h"

namespace kalvetra {

namespace {

constexpr std::size_t kMostDigits = 9;  // of numbers that fit an int

// The %d, %5d or %05d of a name.
struct NumberField {
  std::size_t at = std::string::npos, length = 0, width = 0;
  char fill = ' ';
};

bool isDigit(char c) { return c >= '0' && c <= '9'; }

std::optional<NumberField> findField(const std::string& name) {
  NumberField field;
  field.at = name.find('%');
  if (field.at == std::string::npos) return std::nullopt;
  const char* c = name.c_str() + field.at + 1;
  if (*c == '0') field.fill = *c++;
  if (isDigit(*c)) field.width = static_cast<std::size_t>(*c++ - '0');
  field.length = static_cast<std::size_t>(c + 1 - name.c_str()) - field.at;
  return *c == 'd' ? std::optional(field) : std::nullopt;
}

bool shorter(const std::string& a, const std::string& b) { return a.size() < b.size(); }

}  // namespace

bool isNumberedName(const std::string& name) {
  return std::count(name.begin(), name.end(), '%') == 1 && findField(name).has_value();
}

std::string clipStem(const std::string& path) {
  const std::filesystem::path name = std::filesystem::path(path).filename();
  std::string stem = name.stem().string();
  if (!isNumberedName(name.string())) return stem;
  stem.erase(std::min(stem.find('%'), stem.size()));  // of shot.%05d the number is the extension
  const std::size_t last = stem.find_last_not_of("-_. ");
  return last == std::string::npos ? "sequence" : stem.substr(0, last + 1);
}

std::string numberedName(const std::string& name, int number) {
  return NumberedName(name).with(std::to_string(number));
}

NumberedName::NumberedName(const std::string& name) {
  const NumberField field = findField(name).value();
  before_ = name.substr(0, field.at);
  after_ = name.substr(field.at + field.length);
  width_ = field.width;
  fill_ = field.fill;
}

std::string NumberedName::with(std::string digits) const {
  if (digits.size() < width_) digits.insert(0, width_ - digits.size(), fill_);
  return before_ + digits + after_;
}

bool NumberedName::covers(const std::string& name) const { return digitsIn(name).has_value(); }

bool NumberedName::mayMeet(const NumberedName& other) const {
  const auto onlyDigits = [](const std::string& text) { return text.find_first_not_of(" 0123456789") == text.npos; };
  const std::string& shortHead = std::min(before_, other.before_, shorter);
  const std::string& longHead = std::max(before_, other.before_, shorter);
  const std::string& shortTail = std::min(after_, other.after_, shorter);
  const std::string& longTail = std::max(after_, other.after_, shorter);
  return longHead.starts_with(shortHead) && onlyDigits(longHead.substr(shortHead.size())) &&
         longTail.ends_with(shortTail) && onlyDigits(longTail.substr(0, longTail.size() - shortTail.size()));
}

std::optional<int> NumberedName::numberIn(const std::string& name) const {
  const std::optional<std::string> digits = digitsIn(name);
  if (!digits || digits->size() > kMostDigits) return std::nullopt;
  return std::stoi(*digits);
}

std::optional<std::string> NumberedName::digitsIn(const std::string& name) const {
  if (name.size() <= before_.size() + after_.size() || !name.starts_with(before_) || !name.ends_with(after_)) {
    return std::nullopt;
  }
  const std::string number = name.substr(before_.size(), name.size() - before_.size() - after_.size());
  const std::size_t first = std::min(number.find_first_not_of(fill_), number.size() - 1);
  const std::string digits = number.substr(first);
  const bool plain = digits.size() == 1 || digits[0] != '0';  // %d gives 7, never 007
  if (!plain || !std::all_of(digits.begin(), digits.end(), isDigit) || with(digits) != name) return std::nullopt;
  return digits;
}

std::vector<std::filesystem::path> filesCoveredBy(const std::filesystem::path& pattern) {
  const NumberedName numbered(pattern.filename().string());
  std::vector<std::filesystem::path> files;
  for (const std::string& name : namesIn(pattern.parent_path())) {
    if (numbered.covers(name)) files.push_back(pattern.parent_path() / name);
  }
  return files;
}

}  // namespace kalvetra
