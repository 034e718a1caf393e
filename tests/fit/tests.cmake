kiv_tests(fit
  SOURCES Svd_test.cpp CombDiff_test.cpp Fit_test.cpp KivScan_test.cpp
  LINKS kiv_fit kiv_core)
