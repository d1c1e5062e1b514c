# bcg729's own front end (preProcessing, computeLP, LP2LSPConversion,
# LSPQuantization) from Debian's static archive (libbcg729-dev), measured in
# the same run: only the archive exports these internal functions.
find_library(BCG729_STATIC NAMES libbcg729.a REQUIRED)
target_link_libraries(bench_${name} PRIVATE zinsc_codecs ${BCG729_STATIC})
target_compile_definitions(bench_${name} PRIVATE ZINSC_SOURCE_DIR="${PROJECT_SOURCE_DIR}")
