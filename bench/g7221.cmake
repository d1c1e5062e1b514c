# The G.722.1 codecs of codecs/ on the committed speech.
target_link_libraries(bench_${name} PRIVATE zinsc_codecs)
target_compile_definitions(bench_${name} PRIVATE ZINSC_SOURCE_DIR="${PROJECT_SOURCE_DIR}")
