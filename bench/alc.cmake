# WebRTC's gain control, measured in the same run (a speed peer only).
pkg_check_modules(WEBRTC_APM REQUIRED IMPORTED_TARGET webrtc-audio-processing)
target_link_libraries(bench_${name} PRIVATE zinsc_codecs PkgConfig::WEBRTC_APM)
target_compile_definitions(bench_${name} PRIVATE ZINSC_SOURCE_DIR="${PROJECT_SOURCE_DIR}")
