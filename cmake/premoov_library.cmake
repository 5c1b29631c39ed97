# premoov_library(NAME DEPS...): one library per subsystem folder, made of every .cc in it.
# Headers sit beside their sources and are included as "subsystem/file.h" from src/.
function(premoov_library name)
  file(GLOB sources CONFIGURE_DEPENDS ${CMAKE_CURRENT_SOURCE_DIR}/*.cc)
  add_library(premoov_${name} STATIC ${sources})
  target_include_directories(premoov_${name} PUBLIC ${PROJECT_SOURCE_DIR}/src)
  if(ARGN)
    target_link_libraries(premoov_${name} PUBLIC ${ARGN})
  endif()
endfunction()

# premoov_tests(NAME DEPS...): one GoogleTest program per test folder, made of every _test.cc in it.
function(premoov_tests name)
  file(GLOB sources CONFIGURE_DEPENDS ${CMAKE_CURRENT_SOURCE_DIR}/*.cc)
  add_executable(${name}_tests ${sources})
  target_include_directories(${name}_tests PRIVATE ${PROJECT_SOURCE_DIR}/tests)
  target_link_libraries(${name}_tests PRIVATE ${ARGN} GTest::gtest GTest::gtest_main GTest::gmock)
  target_compile_definitions(${name}_tests PRIVATE
    PREMOOV_SOURCE_DIR="${PROJECT_SOURCE_DIR}" PREMOOV_BINARY_DIR="${PROJECT_BINARY_DIR}")
  gtest_discover_tests(${name}_tests DISCOVERY_TIMEOUT 60 NO_PRETTY_VALUES PROPERTIES LABELS ${name})
endfunction()
