kiv_tests(output
  SOURCES IndexSort_test.cpp LineSet_test.cpp Listings_test.cpp NumText_test.cpp WholeFile_test.cpp
  LINKS kiv_lineset)
