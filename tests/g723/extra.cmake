# The composed G.723.1 codec on the caller's side, and the zinsc tool as a program.
target_link_libraries(test_${dir} PRIVATE zinsc_codecs)
if(TARGET zinsc_tool)
  target_compile_definitions(test_${dir} PRIVATE ZINSC_TOOL="$<TARGET_FILE:zinsc_tool>")
  add_dependencies(test_${dir} zinsc_tool)
endif()
# FFmpeg's G.723.1 decoder as a peer.
pkg_check_modules(ZT_AVCODEC REQUIRED IMPORTED_TARGET libavcodec libavutil)
target_link_libraries(test_${dir} PRIVATE PkgConfig::ZT_AVCODEC)
