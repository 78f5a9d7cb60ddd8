# Helpers that keep module CMakeLists files to a few lines.

# orv_module_sources(file...): adds library sources of the current module.
function(orv_module_sources)
  list(TRANSFORM ARGN PREPEND ${CMAKE_CURRENT_SOURCE_DIR}/)
  target_sources(orv_objects PRIVATE ${ARGN})
endfunction()

# orv_unit_test(name file...): a GoogleTest program linked against the module
# code and the host emulator, registered with CTest under `name`.
function(orv_unit_test name)
  if(NOT ORV_TESTS)
    return()
  endif()
  add_executable(${name} ${ARGN})
  target_compile_options(${name} PRIVATE ${ORV_WARNINGS})
  target_link_libraries(${name} PRIVATE orv_testing orv_static QmEmulator GTest::gmock GTest::gtest_main)
  target_compile_definitions(${name} PRIVATE
    ORV_SOURCE_DIR="${PROJECT_SOURCE_DIR}"
    ORV_SHARED_DIR="${PROJECT_SOURCE_DIR}/../shared")
  add_test(NAME ${name} COMMAND ${name} WORKING_DIRECTORY ${CMAKE_CURRENT_SOURCE_DIR})
endfunction()

# orv_e2e_test(name file...): a GoogleTest program that drives the real
# plug-in through the emulated host (dlopen, agents by name) and the
# command-line tool. It links the emulator only, never the module code.
function(orv_e2e_test name)
  if(NOT ORV_TESTS)
    return()
  endif()
  add_executable(${name} ${ARGN})
  target_compile_options(${name} PRIVATE ${ORV_WARNINGS})
  target_link_libraries(${name} PRIVATE QmEmulator GTest::gmock GTest::gtest_main)
  target_compile_definitions(${name} PRIVATE
    ORV_SOURCE_DIR="${PROJECT_SOURCE_DIR}"
    ORV_PLUGIN_PATH="$<TARGET_FILE:OrvServer>"
    ORV_HOST_PATH="$<TARGET_FILE:orv-host>")
  add_dependencies(${name} OrvServer orv-host)
  add_test(NAME ${name} COMMAND ${name} WORKING_DIRECTORY ${PROJECT_SOURCE_DIR})
endfunction()

# orv_module(test_name): every .cpp file of the current module directory
# goes into the module code, except the *_test.cpp files, which make up the
# GoogleTest program `test_name`. Adding a file needs no CMake edit.
function(orv_module test_name)
  file(GLOB sources CONFIGURE_DEPENDS ${CMAKE_CURRENT_SOURCE_DIR}/*.cpp)
  file(GLOB tests CONFIGURE_DEPENDS ${CMAKE_CURRENT_SOURCE_DIR}/*_test.cpp)
  if(tests)
    list(REMOVE_ITEM sources ${tests})
    orv_unit_test(${test_name} ${tests})
  endif()
  target_sources(orv_objects PRIVATE ${sources})
endfunction()
