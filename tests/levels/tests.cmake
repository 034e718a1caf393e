kiv_tests(levels SOURCES Levels_test.cpp TurnMatrix_test.cpp LINKS kiv_levels)
