base_add_bench(timer_bench timer_bench.cpp)
