kiv_tests(spectrum SOURCES Compare_test.cpp Convolve_test.cpp Profile_test.cpp LINKS kiv_spectrum)
