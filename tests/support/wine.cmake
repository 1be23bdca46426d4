# Cross-built, the Windows tests run through wine-run.sh, which keeps one
# throwaway prefix per build tree and starts every ctest run from a fresh copy
# of it. Built on Windows itself they run as they are.
if(CMAKE_CROSSCOMPILING)
  set(SETUP_WINE_DIR ${CMAKE_BINARY_DIR}/wine)
  configure_file(${CMAKE_CURRENT_LIST_DIR}/wine-run.sh.in ${CMAKE_BINARY_DIR}/wine-run.sh @ONLY
    FILE_PERMISSIONS OWNER_READ OWNER_WRITE OWNER_EXECUTE GROUP_READ GROUP_EXECUTE WORLD_READ WORLD_EXECUTE)
  set(SETUP_WINE_RUN ${CMAKE_BINARY_DIR}/wine-run.sh CACHE INTERNAL "")
  set(CMAKE_CROSSCOMPILING_EMULATOR ${SETUP_WINE_RUN})

  add_test(NAME wine.prefix.fresh COMMAND ${SETUP_WINE_RUN} --fresh-prefix)
  set_tests_properties(wine.prefix.fresh PROPERTIES FIXTURES_SETUP WinePrefix TIMEOUT 300)
  add_test(NAME wine.server.stop COMMAND ${SETUP_WINE_RUN} --stop)
  set_tests_properties(wine.server.stop PROPERTIES FIXTURES_CLEANUP WinePrefix TIMEOUT 120)
endif()

file(GLOB TEST_SUPPORT_SOURCES CONFIGURE_DEPENDS ${CMAKE_CURRENT_LIST_DIR}/*.cpp)
add_library(test_support STATIC ${TEST_SUPPORT_SOURCES})
target_include_directories(test_support PUBLIC ${CMAKE_CURRENT_LIST_DIR}/..)
target_link_libraries(test_support PUBLIC setup_core GTest::gtest)
target_compile_definitions(test_support PUBLIC SETUP_BUILD_DIR="${CMAKE_BINARY_DIR}")
setup_warnings(test_support)

# One test program per subsystem folder; every test has a time limit so a
# stuck dialog or process cannot hang the run.
function(add_wine_tests name)
  add_executable(${name} ${ARGN})
  target_link_libraries(${name} PRIVATE test_support setup_resources GTest::gtest_main)
  setup_windows_program(${name})
  add_dependencies(${name} sample_package sample_package_8123 sample_sfx)
  gtest_discover_tests(${name} DISCOVERY_MODE PRE_TEST DISCOVERY_TIMEOUT 120 TEST_PREFIX "${name}."
    PROPERTIES FIXTURES_REQUIRED WinePrefix TIMEOUT 180)
endfunction()

foreach(subsystem app system uninstall install ui licence package)
  file(GLOB sources CONFIGURE_DEPENDS ${CMAKE_CURRENT_SOURCE_DIR}/${subsystem}/*_test.cpp)
  list(FILTER sources EXCLUDE REGEX "_text_test\\.cpp$")
  if(sources)
    add_wine_tests(${subsystem}_tests ${sources})
  endif()
endforeach()
if(TEXT_TEST_SOURCES)
  add_wine_tests(text_tests ${TEXT_TEST_SOURCES})
endif()
