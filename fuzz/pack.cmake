base_add_fuzzer(pack_fuzz pack_fuzz.cpp)
