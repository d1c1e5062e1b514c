# The peer (spandsp) measured in the same run, on the bundled speech.
pkg_check_modules(ZB_PEERS REQUIRED IMPORTED_TARGET spandsp)
target_link_libraries(bench_${name} PRIVATE zinsc_codecs PkgConfig::ZB_PEERS)
target_compile_definitions(bench_${name} PRIVATE ZINSC_SOURCE_DIR="${PROJECT_SOURCE_DIR}")
