kiv_tests(fit SOURCES Svd_test.cpp LINKS kiv_fit)
