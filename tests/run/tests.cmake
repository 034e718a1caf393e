kiv_tests(run SOURCES KivCore_test.cpp KivPhaseLog_test.cpp LINKS kiv_core)
