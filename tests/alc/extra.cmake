# The level control on the caller's side (codecs/alc) and the zinsc tool.
target_link_libraries(test_${dir} PRIVATE zinsc_codecs)
if(TARGET zinsc_tool)
  target_compile_definitions(test_${dir} PRIVATE ZINSC_TOOL="$<TARGET_FILE:zinsc_tool>")
  add_dependencies(test_${dir} zinsc_tool)
endif()
