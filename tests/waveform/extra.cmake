# The G.711 expansion of the codecs feeds the G.726 encoder sequences.
target_link_libraries(test_${dir} PRIVATE zinsc_codecs)
