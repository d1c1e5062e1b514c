# FFTW in double precision is the oracle of the transform tests.
target_link_libraries(test_${dir} PRIVATE fftw3 fftw3f)
