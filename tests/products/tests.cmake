kiv_tests(products SOURCES CatLines_test.cpp LineTexts_test.cpp LINKS kiv_products)
