# The composed G.728 codec of codecs/ on the bundled speech.
target_link_libraries(bench_${name} PRIVATE zinsc_codecs)
target_compile_definitions(bench_${name} PRIVATE ZINSC_SOURCE_DIR="${PROJECT_SOURCE_DIR}")
