# The plain statements of this benchmark stay scalar loops as written.
target_compile_options(bench_correlation PRIVATE -fno-tree-vectorize)
