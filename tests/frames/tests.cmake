kiv_tests(frames SOURCES EulerRot_test.cpp PrincipalFrame_test.cpp LINKS kiv_frames)
