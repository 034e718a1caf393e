kiv_tests(model SOURCES Frames_test.cpp PrincipalFrame_test.cpp LINKS kiv_model)
