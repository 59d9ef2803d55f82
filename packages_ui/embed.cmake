# Writes a C++ source that holds files as bytes.
#   cmake -DOUTPUT=<source> -DHEADER=<header to include> -DFILES=<file>|<file>... -P embed.cmake
# A file is found under its name without the last extension.
string(REPLACE "|" ";" files "${FILES}")
set(arrays "")
set(rows "")
foreach(file IN LISTS files)
  get_filename_component(name "${file}" NAME_WLE)
  file(READ "${file}" hex HEX)
  string(REGEX REPLACE "([0-9a-f][0-9a-f])" "0x\\1," bytes "${hex}")
  string(REGEX REPLACE "(................................................................................)"
         "\\1\n    " bytes "${bytes}")
  string(APPEND arrays "constexpr unsigned char ${name}_bytes[] = {\n    ${bytes}};\n")
  string(APPEND rows "    {\"${name}\", ${name}_bytes},\n")
endforeach()
file(WRITE "${OUTPUT}" "#include \"${HEADER}\"

namespace zendro::packages_ui {
namespace {

${arrays}
struct Row {
  std::string_view name;
  std::span<const unsigned char> bytes;
};
constexpr Row kRows[] = {
${rows}};

}  // namespace

std::span<const unsigned char> embedded_file(std::string_view name) {
  for (const Row& row : kRows) {
    if (row.name == name) return row.bytes;
  }
  return {};
}

}  // namespace zendro::packages_ui
")
