kiv_tests(linalg SOURCES Eigenpair_test.cpp Eispack_test.cpp Qr_test.cpp Svd_test.cpp WordSort_test.cpp LINKS kiv_linalg)
