/* SPDX-License-Identifier: MIT */
/* Counts an 8-bit register up, with other programs doing the same at the same time, through the bus
 * broker:
 *   share_device PORT DEVICE_ID REGISTER COUNT
 * Reading and writing back are one transaction, in which nobody else gets at the device. */
#include <arpa/inet.h>
#include <busbroker.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <timer_epoll.h>
#include <unistd.h>

/* A request is given up after three such times: longer than another program may keep the device
 * with one transaction, which is 2 s. */
enum { TOOL_ID = 16, RETRY_MS = 1000 };

/* Fills the context of a client and starts its two threads. The socket is not connected, so that a
 * daemon that goes away is a failed request and not the end of this program. */
static int start_client(tool_info *client, uint16_t port) {
    client->tool_id = TOOL_ID;
    client->inst_id = (uint32_t)getpid();
    client->rx_sm = busbroker_rx_state_machine;
    client->req_done = busbroker_parse_update_queues;
    client->rx_stateinfo = &busbroker_rx_stateinfo;
    client->sock_cfg.is_ipv4 = 1;
    client->sock_cfg.is_udp = 1;
    strcpy(client->sock_cfg.ip, "127.0.0.1"); /* our side; any port */
    pthread_mutex_init(&client->tx_lock, NULL);
    pthread_mutex_init(&client->rx_lock, NULL);
    if (create_sock_threads(NULL, NULL, client, sock_tx_thread, sock_rx_thread, 0) != 0) {
        return -1;
    }
    client->sock_cfg.addr.sin_port = htons(port); /* from here on: the daemon's */

    timer_t ticks; /* counts the time until a request is sent again */
    return init_timer(DIAG_TIMER_TICK, &ticks, DIAG_TIMER_100_MS) == 0 ? 0 : -1;
}

/* Reads (`type` DIAG_REQ_READ) or writes one byte. */
static uint32_t access_byte(tool_info *client, busbroker_req *request, const char *device,
                            uint32_t type, uint32_t address, uint8_t *value, uint8_t indication) {
    update_busbroker_req_fields(request, address, 1, 8, value, DIAG_EXPECT_SUCCESS, type,
                                DIAG_REQ_FLAGS_DEFAULT, NULL, 0);
    const uint32_t status =
        request_busbroker(request, client, device, "share_device", 0, type, indication);
    free(request->actual_data); /* each request makes its own */
    request->actual_data = NULL;
    return status;
}

int main(int argc, char **argv) {
    static tool_info client; /* large, and its threads use it until the end */
    if (argc != 5) {
        fprintf(stderr, "usage: %s PORT DEVICE_ID REGISTER COUNT\n", argv[0]);
        return 2;
    }
    char *end = argv[1];
    const unsigned long port = strtoul(argv[1], &end, 10);
    if (*end != '\0' || port == 0 || port > UINT16_MAX) {
        fprintf(stderr, "%s: %s: no port number\n", argv[0], argv[1]);
        return 2;
    }
    if (start_client(&client, (uint16_t)port) != 0) {
        fprintf(stderr, "%s: no client of the bus broker can be made\n", argv[0]);
        return 6;
    }
    busbroker_req request;
    memset(&request, 0, sizeof request);
    request.tool_id = client.tool_id;
    request.inst_id = client.inst_id;
    request.retry_ms = RETRY_MS;

    const uint32_t address = (uint32_t)strtoul(argv[3], NULL, 0);
    uint8_t value = 0;
    for (int left = atoi(argv[4]); left > 0; left--) {
        if (access_byte(&client, &request, argv[2], DIAG_REQ_READ, address, &value,
                        DIAG_TRANSAC_FIRST) != 0) {
            fprintf(stderr, "%s: device %s cannot be read: refused, or no answer on port %s\n",
                    argv[0], argv[2], argv[1]);
            return 6;
        }
        value++;
        if (access_byte(&client, &request, argv[2], DIAG_REQ_WRITE, address, &value,
                        DIAG_TRANSAC_LAST) != 0) {
            fprintf(stderr, "%s: device %s cannot be written: refused, or no answer on port %s\n",
                    argv[0], argv[2], argv[1]);
            return 6;
        }
    }
    printf("program %u: the register is at 0x%02x now\n", (unsigned int)client.inst_id, value);
    return 0;
}
