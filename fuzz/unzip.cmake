base_add_fuzzer(unzip_fuzz unzip_fuzz.cpp)
