# What `cmake --install` puts in place: the command with its manual pages, completions
# and what desktops read (Tools/kzica), the libraries, the headers as <kzica/X.h>, a CMake
# package and a pkg-config file.
include(CMakePackageConfigHelpers)
include(cmake/PublicHeaders.cmake)

set(libraries kvkrn kzfax kzica_filter kztoolkit kzview)
set_target_properties(kvkrn PROPERTIES EXPORT_NAME kernel)
set_target_properties(kzfax PROPERTIES EXPORT_NAME fax)
set_target_properties(kzica_filter PROPERTIES EXPORT_NAME filter)
set_target_properties(kztoolkit PROPERTIES EXPORT_NAME toolkit)
set_target_properties(kzview PROPERTIES EXPORT_NAME view)
target_link_libraries(kztoolkit INTERFACE kzica_filter kvkrn)
target_link_libraries(kzview INTERFACE kztoolkit)
foreach(library IN LISTS libraries)
  target_include_directories(${library} INTERFACE
    $<INSTALL_INTERFACE:${CMAKE_INSTALL_INCLUDEDIR}>)
  target_compile_features(${library} INTERFACE cxx_std_20)
endforeach()
# Where a library finds the others is the same before and after the installation. With
# a path that changes, CMake would pad the shorter one with empty entries, which are
# the current folder, where the libraries, or a codec, would then be looked for. The
# kernel library needs no library of ours.
set_target_properties(kzfax kzica_filter kztoolkit kzview kzabi PROPERTIES
  INSTALL_RPATH "$ORIGIN" BUILD_WITH_INSTALL_RPATH ON)
set(folders "$ORIGIN/../lib" "$ORIGIN/../${CMAKE_INSTALL_LIBDIR}")
list(REMOVE_DUPLICATES folders)
set_target_properties(kzica PROPERTIES INSTALL_RPATH "${folders}" BUILD_WITH_INSTALL_RPATH ON)

install(TARGETS ${libraries} EXPORT kzica LIBRARY DESTINATION ${CMAKE_INSTALL_LIBDIR})
# The kernel library looks for the codec beside itself.
install(TARGETS kzabi LIBRARY DESTINATION ${CMAKE_INSTALL_LIBDIR})
install(TARGETS kzica RUNTIME DESTINATION ${CMAKE_INSTALL_BINDIR})

# What a program may call: all that the toolkit exports, the filter's entry points, and
# the host that they need.
kz_exporting_headers(toolkit_headers Toolkit)
kz_public_headers(headers ${PROJECT_BINARY_DIR}/include/kzica
  API/Filters/Ica/Common/Ica.h
  Host/Abic/Abic.h Host/Abic/AbicParameters.h Host/Abic/AbicText.h Host/Fax/Fax.h
  Host/Kernel/DllLoader.h Host/Kernel/Export.h Host/Kernel/HostRecords.h Host/Kernel/Kernel.h
  Host/Kernel/Status.h
  ${toolkit_headers})
install(FILES ${headers} DESTINATION ${CMAKE_INSTALL_INCLUDEDIR}/kzica)

set(package ${CMAKE_INSTALL_LIBDIR}/cmake/kzica)
install(EXPORT kzica NAMESPACE kzica:: DESTINATION ${package} FILE kzicaTargets.cmake)
configure_package_config_file(${PROJECT_SOURCE_DIR}/cmake/kzicaConfig.cmake.in
  ${PROJECT_BINARY_DIR}/kzicaConfig.cmake INSTALL_DESTINATION ${package})
write_basic_package_version_file(${PROJECT_BINARY_DIR}/kzicaConfigVersion.cmake
  COMPATIBILITY SameMajorVersion)
install(FILES ${PROJECT_BINARY_DIR}/kzicaConfig.cmake ${PROJECT_BINARY_DIR}/kzicaConfigVersion.cmake
  DESTINATION ${package})
# The prefix is found from where the file lies.
cmake_path(RELATIVE_PATH CMAKE_INSTALL_PREFIX
  BASE_DIRECTORY ${CMAKE_INSTALL_FULL_LIBDIR}/pkgconfig OUTPUT_VARIABLE prefix_from_pc)
configure_file(${PROJECT_SOURCE_DIR}/cmake/kzica.pc.in ${PROJECT_BINARY_DIR}/kzica.pc @ONLY)
install(FILES ${PROJECT_BINARY_DIR}/kzica.pc DESTINATION ${CMAKE_INSTALL_LIBDIR}/pkgconfig)
