#include "media/input/frame_rate.h"

#include <algorithm>

namespace kalvetra {

namespace {

constexpr std::size_t kMostDigits = 9, kMostWhole = 5, kMostDecimals = 4;
constexpr int kDecimalUnit = 10000;  // what the last decimal counts in
constexpr int kLargestTerm = 1 << 30;

bool isNumber(const std::string& text, std::size_t mostDigits) {
  return !text.empty() && text.size() <= mostDigits &&
         std::all_of(text.begin(), text.end(), [](char c) { return c >= '0' && c <= '9'; });
}

// 0 / 0 for what is neither a fraction, a whole number nor a decimal.
AVRational parseNumber(const std::string& text) {
  AVRational number{0, 0};
  const std::size_t mark = text.find_first_of("/.");
  const std::string head = text.substr(0, mark);
  std::string tail = mark == std::string::npos ? "0" : text.substr(mark + 1);
  if (mark != std::string::npos && text[mark] == '/') {
    if (!isNumber(head, kMostDigits) || !isNumber(tail, kMostDigits)) return number;
    av_reduce(&number.num, &number.den, std::stoi(head), std::stoi(tail), kLargestTerm);
  } else if (isNumber(head, kMostWhole) && isNumber(tail, kMostDecimals)) {
    tail.resize(kMostDecimals, '0');
    const std::int64_t units = std::int64_t{kDecimalUnit} * std::stoi(head) + std::stoi(tail);
    av_reduce(&number.num, &number.den, units, kDecimalUnit, kLargestTerm);
  }
  return number;
}

}  // namespace

std::optional<AVRational> parseFrameRate(const std::string& text) {
  const AVRational rate = parseNumber(text);
  if (rate.den < 1 || av_q2d(rate) < kSmallestFrameRate || av_q2d(rate) > kLargestFrameRate) return std::nullopt;
  return rate;
}

}  // namespace kalvetra
