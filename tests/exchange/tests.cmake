kiv_tests(exchange
  SOURCES MeasuredSpectrum_test.cpp Import_test.cpp Damaged_test.cpp RoundTrip_test.cpp
  LINKS kiv_exchange)
