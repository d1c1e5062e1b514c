# The composed G.723.1 codec on the caller's side.
target_link_libraries(test_${dir} PRIVATE zinsc_codecs)
