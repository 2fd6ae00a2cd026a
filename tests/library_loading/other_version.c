/* A database library of another interface version than this host's. */

#include <stdint.h>

struct table {
    int32_t version;
    void* entries[64];
};

__attribute__((visibility("default"))) void ovra_register_library(void* module) { (void)module; }

__attribute__((visibility("default"))) const void* ovra_database_library(void) {
    static const struct table table = {8, {0}};
    return &table;
}
