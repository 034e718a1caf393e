kiv_tests(fit
  SOURCES Differences_test.cpp FeatureFit_test.cpp FeatureSelection_test.cpp Fit_test.cpp
          Hostile_test.cpp Identities_test.cpp KnownAnswers_test.cpp LinearProblem_test.cpp
  LINKS kiv_io)
