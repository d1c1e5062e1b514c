# The whole G.722 codec against spandsp's in the same run.
pkg_check_modules(SPANDSP REQUIRED IMPORTED_TARGET spandsp)
target_link_libraries(bench_${name} PRIVATE zinsc_codecs PkgConfig::SPANDSP)
target_compile_definitions(bench_${name} PRIVATE ZINSC_SOURCE_DIR="${PROJECT_SOURCE_DIR}")
