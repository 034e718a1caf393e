kiv_tests(hamiltonian SOURCES Eispack_test.cpp Levels_test.cpp LINKS kiv_hamiltonian)
