// SPDX-License-Identifier: Apache-2.0
// A plugin of the user-mode emulator that prints how many instructions a program executed. The
// emulator's package comes without its plugin header; what is used of it is declared here.
#include <inttypes.h>
#include <stddef.h>
#include <stdint.h>
#include <stdio.h>

typedef uint64_t plugin_id;
struct qemu_plugin_tb;
void qemu_plugin_register_vcpu_tb_trans_cb(plugin_id id,
                                           void (*callback)(plugin_id, struct qemu_plugin_tb*));
void qemu_plugin_register_vcpu_tb_exec_inline(struct qemu_plugin_tb* tb, int operation,
                                              void* counter, uint64_t amount);
size_t qemu_plugin_tb_n_insns(const struct qemu_plugin_tb* tb);
void qemu_plugin_register_atexit_cb(plugin_id id, void (*callback)(plugin_id, void*), void* data);

#define EXPORTED __attribute__((visibility("default")))
EXPORTED int qemu_plugin_version = 1;

static uint64_t executed;

static void CountBlock(plugin_id id, struct qemu_plugin_tb* tb) {
    (void)id;
    const int add = 0;
    qemu_plugin_register_vcpu_tb_exec_inline(tb, add, &executed, qemu_plugin_tb_n_insns(tb));
}

static void Print(plugin_id id, void* data) {
    (void)id;
    (void)data;
    fprintf(stderr, "instructions %" PRIu64 "\n", executed);
}

EXPORTED int qemu_plugin_install(plugin_id id, const void* info, int argc, char** argv) {
    (void)info;
    (void)argc;
    (void)argv;
    qemu_plugin_register_vcpu_tb_trans_cb(id, CountBlock);
    qemu_plugin_register_atexit_cb(id, Print, NULL);
    return 0;
}
