# SPDX-License-Identifier: MIT
# The device tree: chips, registers and muxes, and what else a description file configures.
add_library(device_tree_test_support OBJECT device_tree/device_tree_test.cpp)
target_link_libraries(device_tree_test_support PUBLIC diag_test_support)

function(diag_add_device_tree_test name)
  diag_add_test(common_device_tree_${name}_test
      SOURCES device_tree/${name}_test.cpp $<TARGET_OBJECTS:device_tree_test_support>
      LIBS diag_test_library)
endfunction()

foreach(name model register_lists registers_xml bits_xml registers_text bits_text register_print
        chips_xml loader loader_files muxes out_of_memory registers_out_of_memory)
  diag_add_device_tree_test(${name})
endforeach()

diag_add_test(common_busbroker_socket_config_test
    SOURCES busbroker/socket_config_test.cpp $<TARGET_OBJECTS:device_tree_test_support>
    LIBS diag_test_library)
