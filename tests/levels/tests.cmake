kiv_tests(levels SOURCES ChosenLevels_test.cpp Levels_test.cpp OperatorBands_test.cpp TurnMatrix_test.cpp LINKS kiv_levels)
