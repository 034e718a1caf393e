find_package(nlohmann_json REQUIRED)
kiv_tests(commands
  SOURCES ../support/CommandTest.cpp CommandLine_test.cpp Convert_test.cpp Export_test.cpp ExportCatalog_test.cpp ExportSpectrum_test.cpp HostileFits_test.cpp Import_test.cpp Mutations_test.cpp
          Report_test.cpp Run_test.cpp Surroundings_test.cpp TextParts_test.cpp
          Threads_test.cpp
  LINKS kiv_commands nlohmann_json::nlohmann_json)
target_compile_definitions(test_commands PRIVATE KIV_PROGRAM="$<TARGET_FILE:kiv>")
add_dependencies(test_commands kiv)
