# Whole codecs on the caller's side, compared with the Debian peers (libgsm,
# spandsp, speexdsp); libsndfile reads the bundled speech; the zinsc tool runs as a program.
pkg_check_modules(ZT_PEERS REQUIRED IMPORTED_TARGET spandsp sndfile speexdsp)
target_link_libraries(test_${dir} PRIVATE zinsc_codecs gsm PkgConfig::ZT_PEERS)
if(TARGET zinsc_tool)
  target_compile_definitions(test_${dir} PRIVATE ZINSC_TOOL="$<TARGET_FILE:zinsc_tool>")
  add_dependencies(test_${dir} zinsc_tool)
endif()
