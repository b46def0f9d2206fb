# Writes the installed dygraphs as texts of a source file: cmake -D SCRIPT= -D STYLE= -D OUTPUT= -P OxDygraphs.cmake
# Without the names of its source maps, which a browser would look for beside the page.
function(read_text file out)
  file(READ ${file} text)
  string(REGEX REPLACE "//# sourceMappingURL=[^\n]*" "" text "${text}")
  string(REGEX REPLACE "/\\*# sourceMappingURL=[^*]*\\*/" "" text "${text}")
  string(REGEX REPLACE "[\n]+$" "" text "${text}")
  if(text MATCHES "</script|</style")
    message(FATAL_ERROR "${file} cannot stand in a page")
  endif()
  set(${out} "${text}" PARENT_SCOPE)
endfunction()
read_text(${SCRIPT} script)
read_text(${STYLE} style)
file(WRITE ${OUTPUT} "#include \"report/page_parts.h\"\n
namespace report {\n
const std::string_view dygraphs_script = R\"dygraphs(${script}\n)dygraphs\";
const std::string_view dygraphs_style = R\"dygraphs(${style}\n)dygraphs\";\n
}  // namespace report\n")
