# The caller's side against its peers: spandsp (G.726, G.711), libsndfile to
# read the bundled speech, and the zinsc tool run as a program.
pkg_check_modules(ZT_PEERS REQUIRED IMPORTED_TARGET spandsp sndfile)
target_link_libraries(test_${dir} PRIVATE zinsc_codecs PkgConfig::ZT_PEERS)
if(TARGET zinsc_tool)
  target_compile_definitions(test_${dir} PRIVATE ZINSC_TOOL="$<TARGET_FILE:zinsc_tool>")
  add_dependencies(test_${dir} zinsc_tool)
endif()
