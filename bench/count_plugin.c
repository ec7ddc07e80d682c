/* Counts the instructions that a program executes between its marks, in QEMU's user-mode emulation:
 * qemu-aarch64 -plugin libcount_plugin.so program. See count_pass.cpp for the marks.
 *
 * Debian packages the emulator without the header of its plugin interface, so the few functions
 * that are used are declared here. */
#include <inttypes.h>
#include <stddef.h>
#include <stdint.h>
#include <stdio.h>

#include "bench/count_marks.h"

typedef uint64_t PluginId;
typedef struct qemu_plugin_tb Block;
enum { INLINE_ADD_U64 = 0 };

void qemu_plugin_register_vcpu_tb_trans_cb(PluginId id, void (*fn)(PluginId, Block*));
void qemu_plugin_register_vcpu_tb_exec_inline(Block* block, int op, void* counter, uint64_t add);
size_t qemu_plugin_tb_n_insns(const Block* block);
void qemu_plugin_register_vcpu_syscall_cb(PluginId id,
                                          void (*fn)(PluginId, unsigned, int64_t, uint64_t,
                                                     uint64_t, uint64_t, uint64_t, uint64_t,
                                                     uint64_t, uint64_t, uint64_t));
void qemu_plugin_register_atexit_cb(PluginId id, void (*fn)(PluginId, void*), void* data);

__attribute__((visibility("default"))) int qemu_plugin_version = 1;

static uint64_t executed;
static uint64_t part_start;
static uint64_t part_sum[COUNT_PARTS];

static void on_translation(PluginId id, Block* block) {
    (void)id;
    qemu_plugin_register_vcpu_tb_exec_inline(block, INLINE_ADD_U64, &executed,
                                             qemu_plugin_tb_n_insns(block));
}

static void on_syscall(PluginId id, unsigned cpu, int64_t number, uint64_t part, uint64_t begins,
                       uint64_t a3, uint64_t a4, uint64_t a5, uint64_t a6, uint64_t a7,
                       uint64_t a8) {
    (void)id, (void)cpu, (void)a3, (void)a4, (void)a5, (void)a6, (void)a7, (void)a8;
    if (number != COUNT_SYSCALL || part >= COUNT_PARTS) return;
    if (begins)
        part_start = executed;
    else
        part_sum[part] += executed - part_start;
}

static void on_exit(PluginId id, void* data) {
    (void)id, (void)data;
    for (int part = 0; part < COUNT_PARTS; ++part)
        if (part_sum[part] != 0) fprintf(stderr, "part %d %" PRIu64 "\n", part, part_sum[part]);
}

__attribute__((visibility("default"))) int qemu_plugin_install(PluginId id, const void* info,
                                                               int argc, char** argv) {
    (void)info, (void)argc, (void)argv;
    qemu_plugin_register_vcpu_tb_trans_cb(id, on_translation);
    qemu_plugin_register_vcpu_syscall_cb(id, on_syscall);
    qemu_plugin_register_atexit_cb(id, on_exit, NULL);
    return 0;
}
