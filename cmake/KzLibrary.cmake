# What every target of the tree shares.
add_library(kz_options INTERFACE)
target_include_directories(kz_options INTERFACE ${PROJECT_SOURCE_DIR})
target_compile_options(kz_options INTERFACE -Wall -Wextra -Wconversion -Wshadow)
if(KZ_WARNINGS_AS_ERRORS)
  target_compile_options(kz_options INTERFACE -Werror)
endif()

# kz_library(target OUTPUT name SOURCES ... [LIBRARIES ...]): a shared library
# lib<name>.so.19 that refuses to link with anything unresolved.
function(kz_library target)
  cmake_parse_arguments(ARG "" "OUTPUT" "SOURCES;LIBRARIES" ${ARGN})
  add_library(${target} SHARED ${ARG_SOURCES})
  set_target_properties(${target} PROPERTIES OUTPUT_NAME ${ARG_OUTPUT} SOVERSION 19)
  target_link_libraries(${target} PRIVATE kz_options ${ARG_LIBRARIES})
  kz_link_strictly(${target})
endfunction()

# The sanitizers' own symbols come with the program that loads the library.
function(kz_link_strictly target)
  if(NOT CMAKE_CXX_FLAGS MATCHES "-fsanitize")
    target_link_options(${target} PRIVATE -Wl,--no-undefined)
  endif()
endfunction()

# kz_program(target SOURCES ... [LIBRARIES ...]): a program in bin/.
function(kz_program target)
  cmake_parse_arguments(ARG "" "" "SOURCES;LIBRARIES" ${ARGN})
  add_executable(${target} ${ARG_SOURCES})
  target_link_libraries(${target} PRIVATE kz_options ${ARG_LIBRARIES})
endfunction()
