# What the project calls and does not contain. Everything is found with find_package, so any package manager's tree
# serves: name it in CMAKE_PREFIX_PATH. `./dev` makes one in build/deps. The installed package reads this file too.

# Boost's compiled libraries describe themselves one by one, in its CMake build, its b2 build and vcpkg alike; each
# carries the include folder of the whole tree.
find_package(boost_filesystem 1.81 CONFIG REQUIRED)
find_package(boost_random 1.81 CONFIG REQUIRED)

# Boost's header-only libraries, without linking a compiled one.
if(NOT TARGET QVSharedSupport::boost_headers)
  add_library(QVSharedSupport::boost_headers INTERFACE IMPORTED GLOBAL)
  set_target_properties(
    QVSharedSupport::boost_headers
    PROPERTIES INTERFACE_SYSTEM_INCLUDE_DIRECTORIES
               "$<TARGET_PROPERTY:Boost::filesystem,INTERFACE_INCLUDE_DIRECTORIES>"
               INTERFACE_INCLUDE_DIRECTORIES
               "$<TARGET_PROPERTY:Boost::filesystem,INTERFACE_INCLUDE_DIRECTORIES>"
               INTERFACE_COMPILE_DEFINITIONS
               "BOOST_ALL_NO_LIB")
endif()

find_package(fmt CONFIG REQUIRED)
find_package(Threads REQUIRED)
