# Installs the build into a fresh prefix and moves it elsewhere, builds a program against
# it with the CMake package and with pkg-config, and runs it, the command and the manual
# page there. Every header compiles alone, before and after <tiffio.h>, has no names that
# others may have and declares no function that can't be linked. No program or library,
# built or installed, looks for libraries in the current folder:
# cmake -DBUILD=... -DSOURCE=... -DCOMPILER=... -P CheckInstalled.cmake
cmake_minimum_required(VERSION 3.25)
set(work ${BUILD}/installed)
file(REMOVE_RECURSE ${work})
set(prefix ${work}/prefix)

function(run output)
  execute_process(COMMAND ${ARGN} OUTPUT_VARIABLE text ERROR_VARIABLE text RESULT_VARIABLE result)
  if(NOT result EQUAL 0)
    message(FATAL_ERROR "${ARGN}: ${result}\n${text}")
  endif()
  set(${output} "${text}" PARENT_SCOPE)
endfunction()

function(expect text pattern)
  if(NOT text MATCHES "${pattern}")
    message(FATAL_ERROR "expected ${pattern} in:\n${text}")
  endif()
endfunction()

run(ignored ${CMAKE_COMMAND} --install ${BUILD} --strip --prefix ${work}/first)
file(RENAME ${work}/first ${prefix})
set(sample ${SOURCE}/Samples/report-mixed.afp)
set(pages "1: 1728 x 2200\n2: 1728 x 2200\n3: 333 x 777\n4: 333 x 777\n5: 333 x 777\n6: 1024 x 768\n")

run(ignored ${CMAKE_COMMAND} -S ${SOURCE}/Tests/Install/Consumer -B ${work}/cmake
  -DCMAKE_PREFIX_PATH=${prefix} -DCMAKE_CXX_COMPILER=${COMPILER})
run(ignored ${CMAKE_COMMAND} --build ${work}/cmake)
run(output ${work}/cmake/consumer ${sample})
expect("${output}" "^${pages}$")

file(GLOB_RECURSE pc ${prefix}/*/kzica.pc)
cmake_path(GET pc PARENT_PATH pc_folder)
set(ENV{PKG_CONFIG_PATH} ${pc_folder})
run(flags pkg-config --cflags --libs kzica)
separate_arguments(flags UNIX_COMMAND "${flags}")
cmake_path(GET pc_folder PARENT_PATH libraries)
run(ignored ${COMPILER} -std=c++20 ${SOURCE}/Tests/Install/Consumer/Consumer.cpp -o ${work}/consumer
  ${flags} -Wl,-rpath,${libraries})
run(output ${work}/consumer ${sample})
expect("${output}" "^${pages}$")

run(output ${prefix}/bin/kzica info --page 4 ${sample})
expect("${output}" "IBM MMR Group 3 Fax")
file(GLOB_RECURSE manual ${prefix}/*/kzica.1)
file(READ ${manual} text)
foreach(word abic info extract render contact compare create append insert replace delete assemble split text index dump check
    convert report)
  expect("${text}" "\\.SH COMMAND ${word}\n")
endforeach()

foreach(script slurm-convert parallel-convert)
  run(output ${prefix}/bin/kzica-${script} --help)
  expect("${output}" "^Usage: kzica-${script} ")
endforeach()

file(GLOB_RECURSE headers RELATIVE ${prefix}/include ${prefix}/include/*)
expect("${headers}" "^kzica/Abic.h;.*;kzica/Document.h;.*;kzica/Ica.h;.*;kzica/WritingPolicy.h")
# The interface between host and filter, whose records and functions have global names.
set(host Abic DllLoader Export Fax HostRecords Ica Kernel Status)
foreach(header IN LISTS headers)
  set(alone "#include <${header}>\n")
  set(tiff "#include <tiffio.h>\n")
  file(WRITE ${work}/before.cpp "${alone}${tiff}")
  file(WRITE ${work}/after.cpp "${tiff}${alone}")
  run(ignored ${COMPILER} -std=c++20 -fsyntax-only -I${prefix}/include ${work}/before.cpp)
  run(ignored ${COMPILER} -std=c++20 -fsyntax-only -I${prefix}/include ${work}/after.cpp)

  # No names that others may have: macros and the host's constants begin with K, and all
  # else is in our namespace.
  file(READ ${prefix}/include/${header} text)
  string(REGEX REPLACE "//[^\n]*" "" text "${text}")
  if(text MATCHES "#define +([^K]|K[^_])[^\n]*")
    message(FATAL_ERROR "${header}: ${CMAKE_MATCH_0}")
  endif()
  string(REGEX REPLACE "#[^\n]*" "" text "${text}")
  # A function outside of classes can be linked: it has a body or is exported.
  string(REGEX REPLACE "\n([^\n]*K_EXPORT|static_assert)[^;{]*" "\n" declarations "\n${text}")
  if(declarations MATCHES "\n([A-Za-z][^\n(;={}]*\\([^;{}]*\\)( noexcept)?;)")
    message(FATAL_ERROR "${header}: not exported: ${CMAKE_MATCH_1}")
  endif()
  cmake_path(GET header STEM name)
  if(name IN_LIST host)
    string(REGEX MATCHALL "\nconstexpr [^=]*" constants "\n${text}")
    foreach(constant IN LISTS constants)
      expect("${header}: ${constant}" "[ *]KZ?[A-Z]*_[A-Z0-9_]+ $")
    endforeach()
  else()
    expect("${header}:${text}" "^${header}:[ \n]*((struct|class) [A-Za-z_]+;[ \n]*)*namespace kz {.*\n}[ \n]*$")
  endif()
endforeach()

file(GLOB built ${BUILD}/bin/* ${BUILD}/lib/*)
file(GLOB_RECURSE installed ${prefix}/bin/* ${prefix}/*.so ${prefix}/*.so.*)
set(searched 0)
list(FILTER installed EXCLUDE REGEX "/kzica-[a-z]+-convert$")
foreach(binary IN LISTS built installed)
  run(dynamic readelf -d ${binary})
  if(dynamic MATCHES "R(UN)?PATH[^[]*\\[([^\n]*)\\]")
    math(EXPR searched "${searched} + 1")
    if(":${CMAKE_MATCH_2}:" MATCHES "::|:[^/$:]")
      message(FATAL_ERROR "${binary} looks for libraries in the current folder: ${CMAKE_MATCH_2}")
    endif()
  endif()
endforeach()
if(searched LESS 10)
  message(FATAL_ERROR "only ${searched} programs and libraries have a search path")
endif()
run(sections readelf -S ${prefix}/bin/kzica)
if(sections MATCHES "\\.symtab|\\.debug_")
  message(FATAL_ERROR "the installed command isn't stripped")
endif()
