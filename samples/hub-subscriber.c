/* Prints what TavikCmd tells the hub, one result a line, until the session bus ends.
 *
 *   cc hub-subscriber.c $(pkg-config --cflags --libs libsystemd) -o hub-subscriber
 */
#include <stdio.h>
#include <string.h>
#include <systemd/sd-bus.h>

static int onMessage(sd_bus_message* message, void* unused, sd_bus_error* error) {
    const char *type, *sender;
    const void* payload;
    size_t size;
    (void)unused;
    (void)error;
    if (sd_bus_message_read(message, "ss", &type, &sender) < 0 ||
        sd_bus_message_read_array(message, 'y', &payload, &size) < 0 ||
        strcmp(type, "zephal.suite.com.norva.tavik.TavikToBrixa") != 0)
        return 0; /* something else: another application's message */
    printf("%s: %.*s\n", sender, (int)size, (const char*)payload);
    fflush(stdout);
    return 0;
}

int main(void) {
    sd_bus* bus;
    if (sd_bus_open_user(&bus) < 0 ||
        sd_bus_match_signal(bus, NULL, NULL, "/com/norva/zephal", "com.norva.Zephal4", "Message",
                            onMessage, NULL) < 0) {
        fprintf(stderr, "hub-subscriber: no session bus; is DBUS_SESSION_BUS_ADDRESS set?\n");
        return 1;
    }
    puts("subscribed");
    fflush(stdout);
    while (sd_bus_process(bus, NULL) >= 0 && sd_bus_wait(bus, UINT64_MAX) >= 0) {
    }
    return 0;
}
