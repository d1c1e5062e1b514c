# The GSM-AMR exports are compared with the TS 26.073 fixed-point reference's
# own functions while the whole reference encoder (opencore-amr, its static
# archive) codes generated speech: each wrapped function runs, and the export
# runs on the same inputs beside it.
find_library(ZINSC_OPENCORE_AMRNB_A NAMES libopencore-amrnb.a)
if(ZINSC_OPENCORE_AMRNB_A)
  set(amr_wrapped vad1 tx_dtx_handler dtx_buffer dtx_enc dtx_dec_activity_update pre_big ol_ltp hp_max
    decode_2i40_9bits decode_2i40_11bits decode_3i40_14bits decode_4i40_17bits dec_8i40_31bits dec_10i40_35bits cbsearch)
  set(amr_wrap_flags "")
  foreach(f IN LISTS amr_wrapped)
    list(APPEND amr_wrap_flags "-Wl,--wrap=${f}")
  endforeach()
  target_link_libraries(test_${dir} PRIVATE ${ZINSC_OPENCORE_AMRNB_A} ${amr_wrap_flags})
  target_compile_definitions(test_${dir} PRIVATE ZINSC_HAVE_OPENCORE_AMRNB=1)
endif()

# Speech for the captures: several espeak-ng voices at 8 kHz (sox), made once
# in the build tree. Without the tools the captures skip with a message.
set(amr_speech_dir ${PROJECT_BINARY_DIR}/gsmamr_speech)
find_program(ZINSC_ESPEAK espeak-ng)
find_program(ZINSC_SOX sox)
if(ZINSC_ESPEAK AND ZINSC_SOX AND NOT EXISTS ${amr_speech_dir}/done10)
  file(MAKE_DIRECTORY ${amr_speech_dir})
  set(amr_voices en-us en-gb+f3 de fr+m4 es+f2 en-gb-scotland it+f4 en-us+m7 nl pt+f1)
  set(amr_texts
    "The quick brown fox jumps over the lazy dog, and then it rests for a while in the warm evening sun."
    "Please call Stella. Ask her to bring these things with her from the store: six spoons of fresh snow peas."
    "Am Montag fahren wir mit dem Zug nach Hamburg, und am Abend gehen wir zusammen in das kleine Theater."
    "Le petit chat dort sur la chaise pendant que la pluie tombe doucement sur les toits de la ville."
    "Mañana por la mañana vamos a caminar por el parque y después comeremos algo en la plaza mayor."
    "Zero one two three four five six seven eight nine, she sells sea shells by the sea shore every summer."
    "Nel mezzo del cammin di nostra vita mi ritrovai per una selva oscura, che la diritta via era smarrita."
    "How much wood would a woodchuck chuck if a woodchuck could chuck wood? Nobody really knows the answer."
    "De kat zit op de mat en kijkt naar de vogels in de tuin, terwijl de zon langzaam achter de wolken verdwijnt."
    "O rato roeu a roupa do rei de Roma, e a rainha com raiva resolveu remendar tudo naquela mesma noite.")
  list(LENGTH amr_voices n)
  math(EXPR last "${n} - 1")
  foreach(i RANGE ${last})
    list(GET amr_voices ${i} voice)
    list(GET amr_texts ${i} text)
    execute_process(COMMAND ${ZINSC_ESPEAK} -v ${voice} -s 140 -w ${amr_speech_dir}/seg${i}.wav "${text}"
      RESULT_VARIABLE rc1 OUTPUT_QUIET ERROR_QUIET)
    execute_process(COMMAND ${ZINSC_SOX} -D ${amr_speech_dir}/seg${i}.wav -r 8000 -c 1 -b 16 -e signed-integer
      -t raw ${amr_speech_dir}/seg${i}.raw RESULT_VARIABLE rc2 OUTPUT_QUIET ERROR_QUIET)
  endforeach()
  file(WRITE ${amr_speech_dir}/done10 "")
endif()
target_compile_definitions(test_${dir} PRIVATE ZINSC_AMR_SPEECH_DIR="${amr_speech_dir}")

# VAD option 2 exists in the reference only when it is built with -DVAD2,
# which opencore-amr's own build never does (its Makefile.am leaves vad2.cpp
# and r_fft.cpp out). A second copy of the reference is built here from the
# Debian source package (apt-get source opencore-amr, needs a deb-src entry;
# or point ZINSC_OPENCORE_AMR_SRC at an unpacked tree), with a few shim
# headers for the operators those two files still call by old names. Its
# captures run in their own binary, test_gsmamr_vad2.
set(ZINSC_OPENCORE_AMR_SRC "" CACHE PATH "unpacked opencore-amr source for the VAD option 2 captures")
set(amr_src "${ZINSC_OPENCORE_AMR_SRC}")
if(NOT amr_src)
  set(amr_fetch ${PROJECT_BINARY_DIR}/opencore-amr-src)
  if(NOT EXISTS ${amr_fetch}/done)
    file(MAKE_DIRECTORY ${amr_fetch})
    execute_process(COMMAND apt-get source -qq opencore-amr WORKING_DIRECTORY ${amr_fetch}
      RESULT_VARIABLE amr_rc OUTPUT_QUIET ERROR_QUIET TIMEOUT 300)
    file(WRITE ${amr_fetch}/done "${amr_rc}")
  endif()
  file(GLOB amr_trees LIST_DIRECTORIES true ${amr_fetch}/opencore-amr-*)
  foreach(t IN LISTS amr_trees)
    if(IS_DIRECTORY ${t})
      set(amr_src ${t})
    endif()
  endforeach()
endif()
set(amr_base ${amr_src}/opencore/codecs_v2/audio/gsm_amr)
if(amr_src AND EXISTS ${amr_base}/amr_nb/common/src/vad2.cpp)
  # vad2.cpp and r_fft.cpp include one header per operator, which now clash
  # with basic_op.h; there those headers become basic_op.h, and the two
  # operators they call by old names (add, L_deposit_h) are given back.
  set(shim ${PROJECT_BINARY_DIR}/opencore-amr-shim)
  foreach(h IN ITEMS l_add l_mac l_msu l_mult l_sub mpy_32_16 mult sub)
    file(WRITE ${shim}/${h}.h "#include \"basic_op.h\"\n")
  endforeach()
  file(WRITE ${shim}/add.h "#include_next \"add.h\"\n"
    "static inline Word16 add(Word16 a, Word16 b, Flag* o) { return add_16(a, b, o); }\n")
  file(WRITE ${shim}/l_deposit_h.h "#include \"basic_op.h\"\n"
    "static inline Word32 L_deposit_h(Word16 v) { return (Word32)((unsigned int)(unsigned short)v << 16); }\n")
  set_source_files_properties(${amr_base}/amr_nb/common/src/vad2.cpp ${amr_base}/amr_nb/common/src/r_fft.cpp
    PROPERTIES INCLUDE_DIRECTORIES ${shim})
  file(GLOB amr_peer_sources ${amr_base}/amr_nb/dec/src/*.cpp ${amr_base}/amr_nb/enc/src/*.cpp
    ${amr_base}/amr_nb/common/src/*.cpp)
  list(FILTER amr_peer_sources EXCLUDE REGEX
    "/(decoder_gsm_amr|pvgsmamrdecoder|gsmamr_encoder_wrapper|common/src/(bits2prm|copy|div_32|l_abs|vad1))\\.cpp$")
  add_library(zinsc_peer_amrnb_vad2 STATIC EXCLUDE_FROM_ALL ${amr_src}/amrnb/wrapper.cpp ${amr_peer_sources})
  target_compile_definitions(zinsc_peer_amrnb_vad2 PRIVATE VAD2)
  target_compile_options(zinsc_peer_amrnb_vad2 PRIVATE -O2 -w)
  target_include_directories(zinsc_peer_amrnb_vad2 PRIVATE ${amr_src}/oscl ${amr_base}/amr_nb/dec/src
    ${amr_base}/amr_nb/common/include ${amr_base}/amr_nb/dec/include ${amr_base}/common/dec/include
    ${amr_base}/amr_nb/enc/src)
  set_target_properties(zinsc_peer_amrnb_vad2 PROPERTIES LINKER_LANGUAGE CXX)
  # The reference is not ours to sanitise.
  target_compile_options(zinsc_peer_amrnb_vad2 PRIVATE -fno-sanitize=all)

  file(GLOB amr_vad2_tests ${CMAKE_CURRENT_SOURCE_DIR}/${dir}/vad2_peer/*.cpp)
  add_executable(test_${dir}_vad2 ${amr_vad2_tests})
  target_include_directories(test_${dir}_vad2 PRIVATE ${CMAKE_CURRENT_SOURCE_DIR}/common ${CMAKE_CURRENT_SOURCE_DIR}/${dir})
  target_compile_options(test_${dir}_vad2 PRIVATE ${ZINSC_ARCH_FLAGS} -Wall -Wextra)
  target_compile_definitions(test_${dir}_vad2 PRIVATE ZINSC_AMR_SPEECH_DIR="${amr_speech_dir}")
  set(amr_wrap_flags "")
  foreach(f IN ITEMS vad2 r_fft pre_big ol_ltp)
    list(APPEND amr_wrap_flags "-Wl,--wrap=${f}")
  endforeach()
  target_link_libraries(test_${dir}_vad2 PRIVATE zinsc_static zinsc_peer_amrnb_vad2 ${amr_wrap_flags}
    GTest::gtest_main Threads::Threads)
  gtest_discover_tests(test_${dir}_vad2 DISCOVERY_TIMEOUT 60 PROPERTIES TIMEOUT 600)
else()
  message(STATUS "opencore-amr source not found: the VAD option 2 captures are not built "
    "(add a deb-src entry for apt-get source, or set ZINSC_OPENCORE_AMR_SRC)")
endif()
