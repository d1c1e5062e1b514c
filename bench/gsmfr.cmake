# The GSM 06.10 peers measured in the same run: libgsm and spandsp.
target_link_libraries(bench_${name} PRIVATE zinsc_codecs gsm spandsp)
target_compile_definitions(bench_${name} PRIVATE ZINSC_SOURCE_DIR="${PROJECT_SOURCE_DIR}")
