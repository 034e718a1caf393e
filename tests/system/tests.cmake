kiv_tests(system SOURCES WholeFile_test.cpp LINKS kiv_system)
