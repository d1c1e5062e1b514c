# The level control on the caller's side (codecs/alc) and the zinsc tool.
pkg_check_modules(ZT_ALC_SNDFILE REQUIRED IMPORTED_TARGET sndfile)
target_link_libraries(test_${dir} PRIVATE zinsc_codecs PkgConfig::ZT_ALC_SNDFILE)
if(TARGET zinsc_tool)
  target_compile_definitions(test_${dir} PRIVATE ZINSC_TOOL="$<TARGET_FILE:zinsc_tool>")
  add_dependencies(test_${dir} zinsc_tool)
endif()
