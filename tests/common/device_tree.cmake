# SPDX-License-Identifier: MIT
# The device tree: chips, registers and muxes, and what else a description file configures.
diag_add_test(common_device_tree_test
    SOURCES
        device_tree/device_tree_test.cpp device_tree/bits_text_test.cpp
        device_tree/bits_xml_test.cpp device_tree/chips_xml_test.cpp
        device_tree/loader_files_test.cpp device_tree/loader_test.cpp device_tree/model_test.cpp
        device_tree/mux_kinds_test.cpp device_tree/muxes_test.cpp
        device_tree/out_of_memory_test.cpp
        device_tree/register_lists_test.cpp device_tree/register_print_test.cpp
        device_tree/registers_out_of_memory_test.cpp device_tree/registers_text_test.cpp
        device_tree/registers_xml_test.cpp
    LIBS diag_test_library)

# The text form of a description, with the optional modules that it alone has.
diag_add_test(common_device_text_test
    SOURCES
        device_tree/device_tree_test.cpp device_tree/chips_text_fields_test.cpp
        device_tree/chips_text_test.cpp device_tree/line_reader_test.cpp
        device_tree/loader_text_files_test.cpp device_tree/loader_text_out_of_memory_test.cpp
        device_tree/loader_text_test.cpp device_tree/optional_modules_bad_test.cpp
        device_tree/optional_modules_cards_test.cpp device_tree/optional_modules_test.cpp
        device_tree/registers_text_numbers_test.cpp device_tree/round_trip_test.cpp
        device_tree/slot_tools.cpp device_tree/writer_test.cpp
    LIBS common_test_helpers)
