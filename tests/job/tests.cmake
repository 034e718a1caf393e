kiv_tests(job
  SOURCES OldForm_test.cpp Physics_test.cpp OldReading_test.cpp Convert_test.cpp
  LINKS kiv_job)
