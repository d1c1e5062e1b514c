# Whole codecs on the caller's side, compared with the Debian peers.
target_link_libraries(test_${dir} PRIVATE zinsc_codecs gsm)
