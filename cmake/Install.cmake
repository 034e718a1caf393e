# What `cmake --install` puts under its prefix: the program, the library as one archive with its
# headers, and what find_package(kiv) and pkg-config need to find it. Everything may be moved
# together.
include(CMakePackageConfigHelpers)
include(GNUInstallDirs)

# The layers of the library in one archive, from the objects that the program is made of. Objects of
# an optimisation at link time can only be read by the compiler that made them, so that the sources
# are then compiled once more without it.
set(layers base linalg model levels lines fit catalog spectrum io)
add_library(kiv_archive STATIC)
add_library(kiv::kiv ALIAS kiv_archive)
foreach(layer IN LISTS layers)
  if(CMAKE_INTERPROCEDURAL_OPTIMIZATION)
    get_target_property(sources kiv_${layer} SOURCES)
    list(TRANSFORM sources PREPEND ${PROJECT_SOURCE_DIR}/src/${layer}/)
    target_sources(kiv_archive PRIVATE ${sources})
  else()
    target_sources(kiv_archive PRIVATE $<TARGET_OBJECTS:kiv_${layer}>)
  endif()
endforeach()
set_target_properties(kiv_archive PROPERTIES
  OUTPUT_NAME kiv EXPORT_NAME kiv LINKER_LANGUAGE CXX INTERPROCEDURAL_OPTIMIZATION OFF
  ARCHIVE_OUTPUT_DIRECTORY ${PROJECT_BINARY_DIR}/lib)
target_compile_options(kiv_archive PRIVATE $<TARGET_PROPERTY:kiv_options,INTERFACE_COMPILE_OPTIONS>)
target_include_directories(kiv_archive PRIVATE ${PROJECT_SOURCE_DIR}/src)

# What a consumer needs.
target_compile_features(kiv_archive PUBLIC cxx_std_20)
target_include_directories(kiv_archive PUBLIC $<BUILD_INTERFACE:${PROJECT_SOURCE_DIR}/include>)

install(TARGETS kiv RUNTIME)
install(TARGETS kiv_archive EXPORT kiv ARCHIVE INCLUDES DESTINATION ${CMAKE_INSTALL_INCLUDEDIR})
install(DIRECTORY ${PROJECT_SOURCE_DIR}/include/kiv DESTINATION ${CMAKE_INSTALL_INCLUDEDIR})
install(FILES ${PROJECT_SOURCE_DIR}/LICENSE DESTINATION ${CMAKE_INSTALL_DOCDIR})

set(package_dir ${CMAKE_INSTALL_LIBDIR}/cmake/kiv)
install(EXPORT kiv NAMESPACE kiv:: FILE kiv-targets.cmake DESTINATION ${package_dir})
configure_package_config_file(
  ${CMAKE_CURRENT_LIST_DIR}/kiv-config.cmake.in ${PROJECT_BINARY_DIR}/kiv-config.cmake
  INSTALL_DESTINATION ${package_dir})
write_basic_package_version_file(
  ${PROJECT_BINARY_DIR}/kiv-config-version.cmake COMPATIBILITY SameMinorVersion)
install(FILES ${PROJECT_BINARY_DIR}/kiv-config.cmake ${PROJECT_BINARY_DIR}/kiv-config-version.cmake
        DESTINATION ${package_dir})

# pkg-config knows where kiv.pc lies; the prefix is so many folders above.
set(pkgconfig_dir ${CMAKE_INSTALL_LIBDIR}/pkgconfig)
file(RELATIVE_PATH prefix_from_pc /${pkgconfig_dir} /)
string(REGEX REPLACE "/$" "" prefix_from_pc "${prefix_from_pc}")
configure_file(${CMAKE_CURRENT_LIST_DIR}/kiv.pc.in ${PROJECT_BINARY_DIR}/kiv.pc @ONLY)
install(FILES ${PROJECT_BINARY_DIR}/kiv.pc DESTINATION ${pkgconfig_dir})
