# SPDX-License-Identifier: MIT
# The client of the bus broker.
diag_add_test(common_busbroker_test
    SOURCES busbroker/socket_config_test.cpp device_tree/device_tree_test.cpp
    LIBS diag_test_library)

# What is sent and what is received: requests, the receive machine, and services that ask until they
# are given. Time is the tests' own.
diag_add_test(common_busbroker_frames_test
    SOURCES
        busbroker/answer.cpp busbroker/bus_devices_test.cpp busbroker/dynamic_ids_test.cpp
        busbroker/frame_test.cpp busbroker/machine.cpp busbroker/no_data_write_test.cpp
        busbroker/receive_mutation_test.cpp busbroker/receive_pieces_test.cpp
        busbroker/receive_resets_test.cpp busbroker/receive_states_test.cpp
        busbroker/receive_time_test.cpp busbroker/receive_walker_test.cpp
        busbroker/request_data_test.cpp busbroker/running_client.cpp busbroker/time_doubles.cpp
    LIBS common_test_helpers diag_broker_double)
target_link_options(common_busbroker_frames_test PRIVATE
    -Wl,--wrap=gettimeofday -Wl,--wrap=waitfor_timeout)

# How requests travel: sockets, threads, queues, time-outs.
diag_add_test(common_busbroker_transport_test
    SOURCES
        busbroker/answer.cpp busbroker/outcome_test.cpp busbroker/queues_test.cpp
        busbroker/receive_socket_test.cpp busbroker/receive_thread_test.cpp
        busbroker/requests_test.cpp busbroker/responses_test.cpp busbroker/socket_doubles.cpp
        busbroker/socket_test.cpp busbroker/threads_test.cpp busbroker/transmit_test.cpp
        busbroker/transmit_thread_test.cpp busbroker/transport.cpp busbroker/transport_test.cpp
        busbroker/wake_up_test.cpp
    LIBS common_test_helpers diag_broker_double)
target_link_options(common_busbroker_transport_test PRIVATE
    -Wl,--wrap=sendto -Wl,--wrap=recvfrom)

# The platform as the device-id daemon sees it.
diag_add_test(common_device_id_tree_test
    SOURCES
        busbroker/device_id_muxes_test.cpp busbroker/device_id_path_test.cpp
        busbroker/device_id_tree.cpp busbroker/device_id_tree_test.cpp
    LIBS common_test_helpers)

# The timer that drives the resends.
diag_add_test(common_timers_test
    SOURCES events/time_out_calls_test.cpp events/timer_doubles.cpp events/timers_test.cpp
    LIBS common_test_helpers)
target_link_options(common_timers_test PRIVATE
    -Wl,--wrap=sigaction -Wl,--wrap=pthread_sigmask -Wl,--wrap=timer_create
    -Wl,--wrap=timer_settime -Wl,--wrap=timer_delete)
