kiv_tests(examples SOURCES Examples_test.cpp LINKS kiv_console)
