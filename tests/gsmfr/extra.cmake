# libgsm exports its clause-level steps; the blocks are compared with them.
target_link_libraries(test_${dir} PRIVATE gsm)
