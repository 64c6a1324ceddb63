base_add_test(scheduler_tests
  ${CMAKE_CURRENT_LIST_DIR}/scheduler_table_test.cpp
  ${CMAKE_CURRENT_LIST_DIR}/scheduler_timer_test.cpp
  ${CMAKE_CURRENT_LIST_DIR}/scheduler_queue_test.cpp)
