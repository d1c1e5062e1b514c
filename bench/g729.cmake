# bcg729's own front end (preProcessing, computeLP, LP2LSPConversion,
# LSPQuantization) from Debian's static archive, measured in the same run.
target_link_libraries(bench_${name} PRIVATE zinsc_codecs /usr/lib/x86_64-linux-gnu/libbcg729.a)
target_compile_definitions(bench_${name} PRIVATE ZINSC_SOURCE_DIR="${PROJECT_SOURCE_DIR}")
