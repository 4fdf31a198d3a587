# kz_embed(output name file...): makes a source file that defines kz::name, the texts of the
# files, one after the other, as a std::string_view. It is made anew when a file changes.
function(kz_embed output name)
  set(script ${PROJECT_SOURCE_DIR}/cmake/EmbedTexts.cmake)
  list(TRANSFORM ARGN PREPEND ${CMAKE_CURRENT_SOURCE_DIR}/ OUTPUT_VARIABLE files)
  set(source ${CMAKE_CURRENT_BINARY_DIR}/Embedded/${name}.cpp)
  add_custom_command(OUTPUT ${source} DEPENDS ${files} ${script} VERBATIM
    COMMAND ${CMAKE_COMMAND} -D OUTPUT=${source} -D NAME=${name} -D "FILES=${files}" -P ${script})
  set(${output} ${source} PARENT_SCOPE)
endfunction()

if(CMAKE_SCRIPT_MODE_FILE)
  # Compilers have limits for one literal: each line is one.
  set(text "")
  foreach(file IN LISTS FILES)
    file(READ "${file}" piece)
    string(REGEX REPLACE "([\\\\\"])" "\\\\\\1" piece "${piece}")
    string(REPLACE "\n" "\\n\"\n    \"" piece "${piece}")
    string(APPEND text "    \"${piece}\"\n")
  endforeach()
  file(WRITE "${OUTPUT}"
    "#include <string_view>\n\nnamespace kz {\nextern const std::string_view ${NAME};\n"
    "const std::string_view ${NAME} =\n${text};\n}  // namespace kz\n")
endif()
