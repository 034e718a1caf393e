kiv_tests(catalog SOURCES Catalog_test.cpp LINKS kiv_catalog kiv_fit)
