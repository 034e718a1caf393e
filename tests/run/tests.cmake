kiv_tests(run
  SOURCES KivCore_test.cpp KivPhaseLog_test.cpp KivRun_test.cpp RunCases_test.cpp
  LINKS kiv_run)
