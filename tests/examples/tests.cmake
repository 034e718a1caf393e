kiv_tests(examples SOURCES Examples_test.cpp ReferenceLists_test.cpp LINKS kiv_run)
