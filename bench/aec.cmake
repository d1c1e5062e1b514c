# The composed echo canceller of codecs/ and the peer (speexdsp) measured in the same run.
pkg_check_modules(ZB_AEC_PEERS REQUIRED IMPORTED_TARGET speexdsp)
target_link_libraries(bench_${name} PRIVATE zinsc_codecs PkgConfig::ZB_AEC_PEERS)
target_compile_definitions(bench_${name} PRIVATE ZINSC_SOURCE_DIR="${PROJECT_SOURCE_DIR}")
