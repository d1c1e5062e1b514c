# The composed codec of codecs/ runs the conformance sequences.
target_link_libraries(test_${dir} PRIVATE zinsc_codecs)
