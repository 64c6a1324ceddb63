# Events and the thread pool beside the standard and Boost.Asio peers.
base_add_bench(platform_bench platform_bench.cpp)
