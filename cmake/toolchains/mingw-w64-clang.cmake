# clang as a second opinion on the Windows sources; headers and runtime are those of the MinGW-w64 GCC.
include(${CMAKE_CURRENT_LIST_DIR}/mingw-w64.cmake)
set(CMAKE_C_COMPILER clang-19)
set(CMAKE_CXX_COMPILER clang++-19)
foreach(language C CXX RC)
  set(CMAKE_${language}_COMPILER_TARGET x86_64-w64-mingw32)
endforeach()
# Where the runtime DLLs lie.
execute_process(
  COMMAND x86_64-w64-mingw32-g++-posix -print-file-name=libgcc.a
  OUTPUT_VARIABLE gcc_runtime OUTPUT_STRIP_TRAILING_WHITESPACE)
cmake_path(GET gcc_runtime PARENT_PATH QV_COMPILER_RUNTIME_DIR)
foreach(kind EXE SHARED MODULE)
  set(CMAKE_${kind}_LINKER_FLAGS_INIT "-fuse-ld=lld -Wl,--no-insert-timestamp")
endforeach()
# GCC's driver adds the thread library by itself.
link_libraries(winpthread)
# GCC's runtime keeps thread-local variables that way.
add_compile_options($<$<COMPILE_LANGUAGE:C,CXX>:-femulated-tls>)
