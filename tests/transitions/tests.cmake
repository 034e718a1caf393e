kiv_tests(transitions SOURCES Transitions_test.cpp LINKS kiv_transitions)
