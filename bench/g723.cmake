# G.723.1 against FFmpeg's libavcodec in the same run.
pkg_check_modules(BENCH_AVCODEC REQUIRED IMPORTED_TARGET libavcodec libavutil)
target_link_libraries(bench_${name} PRIVATE zinsc_codecs PkgConfig::BENCH_AVCODEC)
target_compile_definitions(bench_${name} PRIVATE ZINSC_SOURCE_DIR="${PROJECT_SOURCE_DIR}")
