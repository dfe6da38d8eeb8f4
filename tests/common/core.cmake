# SPDX-License-Identifier: MIT
# Tests of the core services, of what the families share, and of the tool calls.
add_library(common_test_helpers STATIC library_test.cpp process_state.cpp)
target_link_libraries(common_test_helpers PUBLIC diag_test_library)

diag_add_test(common_core_test
    SOURCES
        diag_bits_test.cpp diag_context_test.cpp diag_dump_test.cpp diag_input_test.cpp
        diag_numbers_test.cpp diag_platform_test.cpp diag_start_up_test.cpp diag_text_test.cpp
        diag_time_test.cpp diag_xml_test.cpp fatal_overflow_test.cpp
    LIBS common_test_helpers)

diag_add_test(common_lib_test
    SOURCES
        lib/command_line_test.cpp lib/field_readers_test.cpp lib/fields_test.cpp lib/fifo_test.cpp
        lib/memory_test.cpp lib/spawn_reading_test.cpp lib/spawn_test.cpp
        lib/tool_output_test.cpp lib/tool_output_text_test.cpp lib/unique_fd_test.cpp
        lib/xml_test.cpp
    LIBS common_test_helpers)

diag_add_test(common_tools_test
    SOURCES
        tools/background_test.cpp tools/fifo_reading_test.cpp tools/gpiotool_test.cpp
        tools/i2ctool_test.cpp tools/i2ctool_write_test.cpp tools/ipmi_text_test.cpp
        tools/ipmii2c_test.cpp tools/ipmii2c_write_test.cpp tools/ipmitool2_test.cpp
        tools/ipmitool_test.cpp tools/ipmitool_write_test.cpp tools/lpctool_test.cpp
        tools/memtool_test.cpp tools/memtool_write_test.cpp tools/nvramtool_test.cpp
        tools/pcitool_test.cpp
    LIBS common_test_helpers)
