// The page's files, compiled in from preview/page/.
#pragma once

#include <span>
#include <string_view>

namespace kalvetra {

struct PageFile {
  std::string_view name;  // "index.html"
  std::string_view type;  // as HTTP names it
  std::string_view content;
};

std::span<const PageFile> pageFiles();

}  // namespace kalvetra
