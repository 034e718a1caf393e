kiv_tests(io
  SOURCES AssignmentFile_test.cpp InputFile_test.cpp LineFiles_test.cpp LineSetFile_test.cpp NumText_test.cpp Sort_test.cpp
          TextScan_test.cpp
  LINKS kiv_io)
