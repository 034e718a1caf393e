kiv_tests(products SOURCES LineTexts_test.cpp LINKS kiv_products)
