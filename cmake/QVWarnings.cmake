# The warnings every target of the project is built with; all of them are errors.
add_library(qv_warnings INTERFACE)
if(MSVC)
  target_compile_options(qv_warnings INTERFACE /W4 /WX /permissive- /utf-8 /Zc:__cplusplus)
else()
  target_compile_options(
    qv_warnings
    INTERFACE -Wall
              -Wextra
              -Wpedantic
              -Werror
              -Wshadow
              -Wconversion
              -Wsign-conversion
              -Wcast-align
              -Wcast-qual
              -Wundef
              -Wformat=2
              -Wimplicit-fallthrough
              $<$<COMPILE_LANGUAGE:CXX>:-Wnon-virtual-dtor
              -Woverloaded-virtual
              -Wextra-semi
              -Wold-style-cast>
              $<$<COMPILE_LANG_AND_ID:CXX,GNU>:-Wduplicated-cond
              -Wlogical-op
              -Wuseless-cast>)
endif()
