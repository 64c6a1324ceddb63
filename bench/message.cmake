base_add_bench(message_bench message_bench.cpp)
