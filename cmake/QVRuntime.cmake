# On Windows a program finds DLLs beside itself: the compiler's own and Boost's are put there, in the build and in
# the installed package.
if(WIN32)
  set(runtime_dlls $<TARGET_FILE:Boost::filesystem> $<TARGET_FILE:Boost::random>)
  if(TARGET Boost::atomic)
    list(APPEND runtime_dlls $<TARGET_FILE:Boost::atomic>)
  endif()
  if(MINGW)
    foreach(dll libstdc++-6 libgcc_s_seh-1 libwinpthread-1)
      execute_process(COMMAND ${CMAKE_CXX_COMPILER} -print-file-name=${dll}.dll OUTPUT_VARIABLE path
                      OUTPUT_STRIP_TRAILING_WHITESPACE)
      if(NOT EXISTS "${path}")
        # The compiler names only files of its own library path; the thread library belongs to the C runtime.
        find_file(QV_${dll} ${dll}.dll PATHS ${QV_COMPILER_RUNTIME_DIR} /usr/x86_64-w64-mingw32/lib
                  REQUIRED NO_DEFAULT_PATH NO_CMAKE_FIND_ROOT_PATH)
        set(path ${QV_${dll}})
      endif()
      list(APPEND runtime_dlls ${path})
    endforeach()
  endif()
  add_custom_target(
    qv_runtime_dlls ALL
    COMMAND ${CMAKE_COMMAND} -E make_directory ${CMAKE_RUNTIME_OUTPUT_DIRECTORY}
    COMMAND ${CMAKE_COMMAND} -E copy_if_different ${runtime_dlls} ${CMAKE_RUNTIME_OUTPUT_DIRECTORY}
    COMMENT "Putting the runtime DLLs beside the programs"
    VERBATIM)
  install(FILES ${runtime_dlls} DESTINATION ${CMAKE_INSTALL_BINDIR})
endif()
