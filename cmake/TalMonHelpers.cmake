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
# With QT, the test runs inside a QApplication on the offscreen platform (no display needed)
# and may use QTest.
function(talmon_add_test)
  cmake_parse_arguments(T "QT" "NAME" "SOURCES;LIBS" ${ARGN})
  if(NOT TALMON_BUILD_TESTS)
    return()
  endif()
  add_executable(${T_NAME} ${T_SOURCES})
  target_include_directories(${T_NAME} PRIVATE ${PROJECT_SOURCE_DIR})
  talmon_set_warnings(${T_NAME})
  if(T_QT)
    target_sources(${T_NAME} PRIVATE ${PROJECT_SOURCE_DIR}/tests/support/qt_test_main.cpp)
    target_link_libraries(${T_NAME} PRIVATE ${T_LIBS} Qt6::Widgets Qt6::Test GTest::gtest)
  else()
    target_link_libraries(${T_NAME} PRIVATE ${T_LIBS} GTest::gtest GTest::gtest_main)
  endif()
  gtest_discover_tests(${T_NAME} DISCOVERY_MODE PRE_TEST
    PROPERTIES ENVIRONMENT "TALMON_DATA_DIR=${CMAKE_CURRENT_BINARY_DIR}/unused-data-dir")
endfunction()

# A Qt test run on the X11 platform under a private X server (xvfb-run -a picks a free
# display, so parallel builds never share one). One CTest entry for the whole executable.
function(talmon_add_xcb_test)
  cmake_parse_arguments(T "" "NAME" "SOURCES;LIBS" ${ARGN})
  if(NOT TALMON_BUILD_TESTS)
    return()
  endif()
  add_executable(${T_NAME} ${T_SOURCES} ${PROJECT_SOURCE_DIR}/tests/support/qt_test_main.cpp)
  target_include_directories(${T_NAME} PRIVATE ${PROJECT_SOURCE_DIR})
  target_link_libraries(${T_NAME} PRIVATE ${T_LIBS} Qt6::Widgets Qt6::Test GTest::gtest)
  talmon_set_warnings(${T_NAME})
  find_program(TALMON_XVFB_RUN xvfb-run REQUIRED)
  add_test(NAME ${T_NAME}
    COMMAND ${TALMON_XVFB_RUN} -a -s "-screen 0 1280x1024x24"
            env QT_QPA_PLATFORM=xcb $<TARGET_FILE:${T_NAME}>)
  set_tests_properties(${T_NAME} PROPERTIES
    ENVIRONMENT "TALMON_DATA_DIR=${CMAKE_CURRENT_BINARY_DIR}/unused-data-dir")
endfunction()
