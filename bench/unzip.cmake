base_add_bench(unzip_bench unzip_bench.cpp)
