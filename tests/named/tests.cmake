kiv_tests(named
  SOURCES Json_test.cpp LineFile_test.cpp NamedInput_test.cpp NumberText_test.cpp ReplaceNumbers_test.cpp
  LINKS kiv_named)
