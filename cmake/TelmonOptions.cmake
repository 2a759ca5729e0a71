# Compiler settings shared by every target of the project.
add_library(telmon_warnings INTERFACE)
target_compile_options(telmon_warnings INTERFACE -Wall -Wextra -Wpedantic $<$<CXX_COMPILER_ID:GNU>:-Wshadow=local>
                       -Wnon-virtual-dtor -Wno-missing-field-initializers
                       # GCC 12 reports std::optional<QString> moves as maybe-uninitialized at -O2.
                       $<$<CXX_COMPILER_ID:GNU>:-Wno-maybe-uninitialized>)
if(TELMON_WERROR)
  target_compile_options(telmon_warnings INTERFACE -Werror)
endif()
target_compile_definitions(telmon_warnings INTERFACE QT_NO_KEYWORDS QT_NO_CAST_FROM_BYTEARRAY
                           QT_NO_NARROWING_CONVERSIONS_IN_CONNECT)

if(TELMON_SANITIZE)
  add_compile_options(-fsanitize=address,undefined -fno-omit-frame-pointer -fno-sanitize-recover=undefined)
  add_link_options(-fsanitize=address,undefined)
endif()

# telmon_add_library(NAME SOURCES... [LIBS ...]) : one library per folder.
function(telmon_add_library name)
  cmake_parse_arguments(ARG "" "" "SOURCES;LIBS" ${ARGN})
  add_library(${name} STATIC ${ARG_SOURCES})
  target_include_directories(${name} PUBLIC ${PROJECT_SOURCE_DIR})
  target_link_libraries(${name} PUBLIC ${ARG_LIBS} PRIVATE telmon_warnings)
endfunction()

# telmon_add_test(NAME [GUI] SOURCES... LIBS ...) : one GoogleTest executable registered with
# CTest. GUI tests get a QApplication (offscreen platform), the others a QCoreApplication.
function(telmon_add_test name)
  cmake_parse_arguments(ARG "GUI" "" "SOURCES;LIBS;LABELS" ${ARGN})
  add_executable(${name} ${ARG_SOURCES} ${PROJECT_SOURCE_DIR}/tests/TestMain.cpp)
  if(ARG_GUI)
    target_compile_definitions(${name} PRIVATE TELMON_TEST_GUI)
    target_link_libraries(${name} PRIVATE Qt6::Widgets)
  endif()
  target_link_libraries(${name} PRIVATE ${ARG_LIBS} Qt6::Core GTest::gtest GTest::gmock telmon_warnings)
  target_include_directories(${name} PRIVATE ${PROJECT_SOURCE_DIR})
  gtest_discover_tests(${name} DISCOVERY_TIMEOUT 60
    PROPERTIES ENVIRONMENT "QT_QPA_PLATFORM=offscreen" LABELS "${ARG_LABELS}")
endfunction()
include(GoogleTest)
