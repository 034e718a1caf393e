kiv_tests(frames SOURCES PrincipalFrame_test.cpp LINKS kiv_frames)
