find_package(nlohmann_json REQUIRED)
kiv_tests(page
  SOURCES ../support/CommandTest.cpp PageLines_test.cpp View_test.cpp
  LINKS kiv_page nlohmann_json::nlohmann_json)
target_compile_definitions(test_page PRIVATE KIV_PROGRAM="$<TARGET_FILE:kiv>")
add_dependencies(test_page kiv)
