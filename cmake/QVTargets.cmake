# How this project declares its targets, so that each CMakeLists.txt says only what is particular to it.
#
#   qv_add_library(<name> DESCRIPTION <text> SOURCES ... [WINDOWS_SOURCES ...] [POSIX_SOURCES ...]
#                  [INCLUDE_DIR <dir>] [PUBLIC <targets>...] [PRIVATE <targets>...])
#     A shared library with hidden visibility, the alias QVSharedSupport::<name>, a version resource on Windows, and
#     install rules. <name>_EXPORTS is defined while it is built. INCLUDE_DIR defaults to include/.
#   qv_add_program(<name> SOURCES ... [LINK ...])
#     An executable that finds the project's libraries beside itself.
#   qv_add_test(<name> SOURCES ... [LINK ...] [PROGRAMS <targets>...] [TIMEOUT <seconds>])
#     A GoogleTest binary, registered whole: starting a process under Wine is what costs. PROGRAMS are built first.

include(GNUInstallDirs)

# Programs and libraries share one folder: Windows looks for a DLL beside the program that wants it.
set(CMAKE_RUNTIME_OUTPUT_DIRECTORY ${PROJECT_BINARY_DIR}/bin)
set(CMAKE_LIBRARY_OUTPUT_DIRECTORY ${PROJECT_BINARY_DIR}/bin)
set(CMAKE_ARCHIVE_OUTPUT_DIRECTORY ${PROJECT_BINARY_DIR}/lib)

function(_qv_common name)
  target_compile_features(${name} PUBLIC cxx_std_20)
  target_link_libraries(${name} PRIVATE $<BUILD_INTERFACE:qv_warnings>)
  set_target_properties(
    ${name}
    PROPERTIES CXX_EXTENSIONS OFF
               CXX_VISIBILITY_PRESET hidden
               C_VISIBILITY_PRESET hidden
               VISIBILITY_INLINES_HIDDEN ON)
endfunction()

function(_qv_version_resource name description)
  set(QV_RC_NAME ${name})
  set(QV_RC_DESCRIPTION ${description})
  set(rc ${CMAKE_CURRENT_BINARY_DIR}/${name}.rc)
  configure_file(${PROJECT_SOURCE_DIR}/cmake/version.rc.in ${rc} @ONLY)
  target_sources(${name} PRIVATE ${rc})
endfunction()

function(qv_add_library name)
  cmake_parse_arguments(PARSE_ARGV 1 arg "" "DESCRIPTION;INCLUDE_DIR"
                        "SOURCES;WINDOWS_SOURCES;POSIX_SOURCES;PUBLIC;PRIVATE")
  if(NOT arg_INCLUDE_DIR)
    set(arg_INCLUDE_DIR ${CMAKE_CURRENT_SOURCE_DIR}/include)
  endif()
  if(WIN32)
    list(APPEND arg_SOURCES ${arg_WINDOWS_SOURCES})
  else()
    list(APPEND arg_SOURCES ${arg_POSIX_SOURCES})
  endif()
  add_library(${name} SHARED ${arg_SOURCES})
  add_library(QVSharedSupport::${name} ALIAS ${name})
  _qv_common(${name})
  target_include_directories(
    ${name} PUBLIC $<BUILD_INTERFACE:${arg_INCLUDE_DIR}> $<INSTALL_INTERFACE:${CMAKE_INSTALL_INCLUDEDIR}>)
  target_link_libraries(${name} PUBLIC ${arg_PUBLIC} PRIVATE ${arg_PRIVATE})
  # "libX.dll" is a Unix habit; on Windows the file is named as the library is.
  if(WIN32)
    set_target_properties(${name} PROPERTIES PREFIX "")
    _qv_version_resource(${name} "${arg_DESCRIPTION}")
  endif()
  install(
    TARGETS ${name}
    EXPORT QVSharedSupportTargets
    RUNTIME DESTINATION ${CMAKE_INSTALL_BINDIR}
    LIBRARY DESTINATION ${CMAKE_INSTALL_LIBDIR}
    ARCHIVE DESTINATION ${CMAKE_INSTALL_LIBDIR})
  install(DIRECTORY ${arg_INCLUDE_DIR}/ DESTINATION ${CMAKE_INSTALL_INCLUDEDIR})
endfunction()

function(qv_add_program name)
  cmake_parse_arguments(PARSE_ARGV 1 arg "" "" "SOURCES;LINK")
  add_executable(${name} ${arg_SOURCES})
  _qv_common(${name})
  target_link_libraries(${name} PRIVATE ${arg_LINK})
  if(MINGW)
    # wmain(): the command line as Windows has it, not squeezed through a code page.
    target_link_options(${name} PRIVATE -municode)
  endif()
endfunction()

function(qv_add_test name)
  cmake_parse_arguments(PARSE_ARGV 1 arg "" "TIMEOUT" "SOURCES;LINK;PROGRAMS")
  if(NOT arg_TIMEOUT)
    set(arg_TIMEOUT 600)
  endif()
  # Together with what calls it, an operator new of our own is taken for a mismatch with the delete beside it.
  set(alone ${arg_SOURCES})
  list(FILTER alone INCLUDE REGEX "failing_new|memory_watch")
  set_source_files_properties(${alone} PROPERTIES SKIP_UNITY_BUILD_INCLUSION ON)
  add_executable(${name} ${arg_SOURCES})
  _qv_common(${name})
  target_link_libraries(${name} PRIVATE ${arg_LINK} GTest::gtest GTest::gmock GTest::gtest_main)
  if(arg_PROGRAMS)
    add_dependencies(${name} ${arg_PROGRAMS})
  endif()
  add_test(NAME ${name} COMMAND ${name} --gtest_brief=1)
  set_tests_properties(${name} PROPERTIES TIMEOUT ${arg_TIMEOUT} ENVIRONMENT
                                          "QV_TEST_SOURCE_DIR=${PROJECT_SOURCE_DIR}/tests;QV_COLLECT_OUTPUT=1")
endfunction()
