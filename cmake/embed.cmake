# Turns files into one C++ source with a table of name and bytes: cmake -DOUTPUT=... -DFILES=a;b -P embed.cmake
# The name in the table is the file's name without its last extension.

set(arrays "")
set(rows "")
set(number 0)
foreach(file IN LISTS FILES)
    get_filename_component(name ${file} NAME_WLE)
    file(READ ${file} bytes HEX)
    string(REGEX REPLACE "(..)" "0x\\1," bytes "${bytes}")
    string(APPEND arrays "const unsigned char file_${number}[] = {${bytes}};\n")
    string(APPEND rows "    {\"${name}\", file_${number}, sizeof file_${number}},\n")
    math(EXPR number "${number} + 1")
endforeach()
file(WRITE ${OUTPUT} "#include \"src/window/embedded.h\"

namespace kovgui {
namespace {
${arrays}}  // namespace

const EmbeddedFile embedded_files[] = {
${rows}    {nullptr, nullptr, 0},
};
}  // namespace kovgui
")
