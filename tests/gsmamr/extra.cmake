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

