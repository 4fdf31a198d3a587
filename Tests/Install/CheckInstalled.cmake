# Installs the build into a fresh prefix, builds a program against it with the CMake
# package and with pkg-config, and runs it, the command and the manual page there:
# cmake -DBUILD=... -DSOURCE=... -DCOMPILER=... -P CheckInstalled.cmake
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

run(ignored ${CMAKE_COMMAND} --install ${BUILD} --prefix ${prefix})
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
run(flags pkg-config --define-variable=prefix=${prefix} --cflags --libs kzica)
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
foreach(word info extract create append insert replace delete assemble split text dump check)
  expect("${text}" "\\.SH COMMAND ${word}\n")
endforeach()
