# Turns the files of a folder into one C++ file with their bytes.
#   cmake -DFOLDER=... -DOUTPUT=... -P EmbedPage.cmake
file(GLOB names RELATIVE ${FOLDER} ${FOLDER}/*.html ${FOLDER}/*.css ${FOLDER}/*.js ${FOLDER}/*.svg ${FOLDER}/*.ico ${FOLDER}/*.png)
list(SORT names)
set(types_html "text/html; charset=utf-8")
set(types_css "text/css; charset=utf-8")
set(types_js "text/javascript; charset=utf-8")
set(types_svg "image/svg+xml")
set(types_ico "image/x-icon")
set(types_png "image/png")

set(arrays "")
set(rows "")
set(number 0)
foreach(name IN LISTS names)
  file(READ ${FOLDER}/${name} hex HEX)
  string(REGEX REPLACE "(................................)" "\\1\n" hex "${hex}")
  string(REGEX REPLACE "([0-9a-f][0-9a-f])" "'\\\\x\\1'," bytes "${hex}")
  string(APPEND arrays "constexpr char kFile${number}[] = {${bytes}'\\0'};\n")
  string(REGEX REPLACE ".*\\." "" ending "${name}")
  string(APPEND rows "    {\"${name}\", \"${types_${ending}}\", {kFile${number}, sizeof kFile${number} - 1}},\n")
  math(EXPR number "${number} + 1")
endforeach()
file(WRITE ${OUTPUT} "#include \"preview/http/page_files.h\"

namespace kalvetra {
namespace {
${arrays}
constexpr PageFile kFiles[] = {
${rows}};
}  // namespace

std::span<const PageFile> pageFiles() { return kFiles; }

}  // namespace kalvetra
")
