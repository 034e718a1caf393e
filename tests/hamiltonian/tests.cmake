kiv_tests(hamiltonian SOURCES Eispack_test.cpp LINKS kiv_eigen)
