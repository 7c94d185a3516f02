#include "preview/http/token.h"

#include <unistd.h>

#include <array>
#include <stdexcept>
#ifdef __APPLE__
#include <sys/random.h>
#endif

namespace kalvetra {

std::string makeToken() {
  std::array<unsigned char, 16> bytes{};
  if (getentropy(bytes.data(), bytes.size()) != 0) throw std::runtime_error("the system gives no random numbers");
  constexpr std::string_view kDigits = "0123456789abcdef";
  std::string token;
  for (const unsigned char byte : bytes) {
    token += kDigits[byte >> 4];
    token += kDigits[byte & 15];
  }
  return token;
}

bool sameToken(std::string_view a, std::string_view b) {
  if (a.size() != b.size()) return false;
  unsigned int difference = 0;
  for (std::size_t i = 0; i < a.size(); ++i) difference |= static_cast<unsigned char>(a[i] ^ b[i]);
  return difference == 0;
}

}  // namespace kalvetra
