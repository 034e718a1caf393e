kiv_tests(linalg SOURCES Eispack_test.cpp Svd_test.cpp LINKS kiv_linalg)
