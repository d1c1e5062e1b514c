# The plain statements of this benchmark stay scalar loops as written.
target_compile_options(bench_lp_filters PRIVATE -fno-tree-vectorize)
