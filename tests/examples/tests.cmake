kiv_tests(examples SOURCES Examples_test.cpp Tutorial_test.cpp LINKS kiv_console kiv_named)
target_compile_definitions(test_examples PRIVATE KIV_PROGRAM="$<TARGET_FILE:kiv>")
add_dependencies(test_examples kiv)
