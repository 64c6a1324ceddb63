# The packer against a hand-written ceiling and Protocol Buffers.
find_package(Protobuf REQUIRED)
protobuf_generate_cpp(pack_bench_proto_srcs pack_bench_proto_hdrs pack_bench.proto)
base_add_bench(pack_bench pack_bench.cpp ${pack_bench_proto_srcs})
target_include_directories(pack_bench PRIVATE ${CMAKE_CURRENT_BINARY_DIR})
target_link_libraries(pack_bench PRIVATE protobuf::libprotobuf)
