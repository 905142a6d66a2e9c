# Compares what each DLL exports with the list in exports/<Library>.txt, so that no symbol comes or goes unnoticed.
# A change that is meant: cmake --build --preset windows --target update_exports, and look at the difference.
#
# Windows only: an ELF library also exports whatever templates and type information its headers bring along, which is
# up to the compiler. Asio is third-party code that exports all it has, and is not looked at.
if(NOT WIN32)
  return()
endif()
find_program(QV_CXXFILT NAMES ${CMAKE_CXX_COMPILER_TARGET}c++filt x86_64-w64-mingw32-c++filt c++filt REQUIRED)
find_program(QV_OBJDUMP NAMES x86_64-w64-mingw32-objdump objdump REQUIRED)

add_custom_target(update_exports)
foreach(library CoreFoundation CFAdapters QVLog QVMath QVPlatformCompatibility RuntimeLocator device_host_error
                QVSharedSupport)
  # One that a user put in the place of ours exports what it likes.
  if(NOT TARGET ${library})
    continue()
  endif()
  set(check
      ${CMAKE_COMMAND} -DDLL=$<TARGET_FILE:${library}> -DLIST=${CMAKE_CURRENT_SOURCE_DIR}/exports/${library}.txt
      -DOBJDUMP=${QV_OBJDUMP} -DCXXFILT=${QV_CXXFILT})
  add_test(NAME exports.${library} COMMAND ${check} -P ${CMAKE_CURRENT_SOURCE_DIR}/check_exports.cmake)
  add_custom_command(
    TARGET update_exports
    POST_BUILD
    COMMAND ${check} -DUPDATE=ON -P ${CMAKE_CURRENT_SOURCE_DIR}/check_exports.cmake
    VERBATIM)
  add_dependencies(update_exports ${library})
endforeach()
