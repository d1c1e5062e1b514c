# FFTW in single precision is the peer of the transform benchmarks.
target_link_libraries(bench_${name} PRIVATE fftw3f)
