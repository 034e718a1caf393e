kiv_tests(input
  SOURCES AsnLines_test.cpp InputParm_test.cpp NextInput_test.cpp OldInput_test.cpp
  LINKS kiv_input)
