# Build helpers shared by every module: one place for warnings, sanitizers and tests.

if(TALMON_SANITIZE)
  add_compile_options(-fsanitize=address,undefined -fno-omit-frame-pointer
                      -fno-sanitize-recover=undefined)
  add_link_options(-fsanitize=address,undefined)
endif()

# Warnings for one target: -Wall -Wextra -Wpedantic, errors when TALMON_WERROR is on.
function(talmon_set_warnings target)
  target_compile_options(${target} PRIVATE -Wall -Wextra -Wpedantic)
  if(TALMON_WERROR)
    target_compile_options(${target} PRIVATE -Werror)
  endif()
endfunction()

# A module library: static, position independent, built with the export macro switched
# to "building the library" so that exported names get default visibility.
function(talmon_add_module target)
  add_library(${target} STATIC ${ARGN})
  target_compile_definitions(${target} PUBLIC TALMON_BUILDING)
  target_include_directories(${target} PUBLIC ${PROJECT_SOURCE_DIR})
  target_link_libraries(${target} PUBLIC talmon_headers)
  talmon_set_warnings(${target})
endfunction()

# A GoogleTest executable registered with CTest.
#   talmon_add_test(NAME storage_test SOURCES a_test.cpp ... LIBS talmon_storage)
function(talmon_add_test)
  cmake_parse_arguments(T "" "NAME" "SOURCES;LIBS" ${ARGN})
  if(NOT TALMON_BUILD_TESTS)
    return()
  endif()
  add_executable(${T_NAME} ${T_SOURCES})
  target_link_libraries(${T_NAME} PRIVATE ${T_LIBS} GTest::gtest GTest::gtest_main)
  target_include_directories(${T_NAME} PRIVATE ${PROJECT_SOURCE_DIR})
  talmon_set_warnings(${T_NAME})
  gtest_discover_tests(${T_NAME} DISCOVERY_MODE PRE_TEST
    PROPERTIES ENVIRONMENT "TALMON_DATA_DIR=${CMAKE_CURRENT_BINARY_DIR}/unused-data-dir")
endfunction()
