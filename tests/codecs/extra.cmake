# Whole codecs on the caller's side, compared with the Debian peers.
pkg_check_modules(SPANDSP REQUIRED IMPORTED_TARGET spandsp)
target_link_libraries(test_${dir} PRIVATE zinsc_codecs gsm PkgConfig::SPANDSP)
