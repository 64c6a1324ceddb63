base_add_bench(handle_bench handle_bench.cpp)
