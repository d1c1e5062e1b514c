# The GSM-AMR peer: the TS 26.073 reference in opencore-amr's static archive.
# Its encoder runs once to capture real inputs (through --wrap=pre_big); then
# its own weighting filter and open-loop search are timed beside the export.
find_library(ZINSC_OPENCORE_AMRNB_A NAMES libopencore-amrnb.a)
if(ZINSC_OPENCORE_AMRNB_A)
  target_link_libraries(bench_${name} PRIVATE zinsc_codecs ${ZINSC_OPENCORE_AMRNB_A} -Wl,--wrap=pre_big -Wl,--wrap=cbsearch)
  target_compile_definitions(bench_${name} PRIVATE ZINSC_SOURCE_DIR="${PROJECT_SOURCE_DIR}" ZINSC_HAVE_OPENCORE_AMRNB=1)
else()
  target_compile_definitions(bench_${name} PRIVATE ZINSC_SOURCE_DIR="${PROJECT_SOURCE_DIR}")
endif()
