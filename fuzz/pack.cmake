base_add_fuzzer(pack_fuzz pack_fuzz.cpp pack_reader.cpp pack_writer.cpp buffer_model.cpp)
