# Nothing to test where nothing is installed.
if(NOT KIV_INSTALL)
  return()
endif()

kiv_tests(library SOURCES Library_test.cpp)
add_dependencies(test_library kiv kiv_archive)
# Who links sanitized objects needs the sanitizer, too.
set(flags "${CMAKE_CXX_FLAGS}")
if(KIV_SANITIZE)
  string(APPEND flags " -fsanitize=${KIV_SANITIZE}")
endif()
target_compile_definitions(test_library PRIVATE
  KIV_CMAKE="${CMAKE_COMMAND}" KIV_GENERATOR="${CMAKE_GENERATOR}" KIV_CXX="${CMAKE_CXX_COMPILER}"
  KIV_CXX_FLAGS="${flags}" KIV_BINARY_DIR="${PROJECT_BINARY_DIR}"
  KIV_LIBDIR="${CMAKE_INSTALL_LIBDIR}" KIV_VERSION="${PROJECT_VERSION}")
