# qv_for_each_fuzz_target(<function>) calls <function>(<name> SOURCES <files>... LINK <targets>...) for each of them.
set(QV_FUZZ_DIR ${CMAKE_CURRENT_LIST_DIR})
function(qv_for_each_fuzz_target function)
  foreach(format xml oldstyle binary)
    cmake_language(
      CALL ${function} plist_${format}_fuzzer SOURCES ${QV_FUZZ_DIR}/plist_${format}_fuzzer.cpp
      ${QV_FUZZ_DIR}/plist_round_trip.cpp LINK QVSharedSupport::CoreFoundation)
  endforeach()
  cmake_language(CALL ${function} plist_xml_write_fuzzer SOURCES ${QV_FUZZ_DIR}/plist_xml_write_fuzzer.cpp LINK
                 QVSharedSupport::CFAdapters)
  foreach(subject json_parse json_rpc keyed notification product_types software_version)
    cmake_language(CALL ${function} ${subject}_fuzzer SOURCES ${QV_FUZZ_DIR}/${subject}_fuzzer.cpp LINK
                   QVSharedSupport::QVSharedSupport)
  endforeach()
endfunction()
