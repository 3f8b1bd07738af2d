/*
 * A plugin for QEMU's user-mode emulation that counts the executed guest instructions and prints
 * "instructions COUNT" on the standard error stream when the program ends.
 *
 * Each translated block gets an inline addition of its number of instructions; a block runs as a whole, so
 * the count is exact. Conditional instructions count whether or not their condition holds. Distributions
 * package no header for plugins, hence the declarations of what is used here; the interface is version 1.
 */
#include <inttypes.h>
#include <stddef.h>
#include <stdint.h>
#include <stdio.h>

#define EXPORT __attribute__((visibility("default")))

typedef uint64_t qemu_plugin_id_t;
struct qemu_info;
struct qemu_plugin_tb;
enum qemu_plugin_op { QEMU_PLUGIN_INLINE_ADD_U64 };

void qemu_plugin_register_vcpu_tb_trans_cb(qemu_plugin_id_t id,
                                           void (*translated)(qemu_plugin_id_t, struct qemu_plugin_tb *));
void qemu_plugin_register_vcpu_tb_exec_inline(struct qemu_plugin_tb *block, enum qemu_plugin_op operation, void *target,
                                              uint64_t value);
void qemu_plugin_register_atexit_cb(qemu_plugin_id_t id, void (*at_exit)(qemu_plugin_id_t, void *), void *user_data);
size_t qemu_plugin_tb_n_insns(const struct qemu_plugin_tb *block);

EXPORT int qemu_plugin_version = 1;
EXPORT int qemu_plugin_install(qemu_plugin_id_t id, const struct qemu_info *info, int argc, char **argv);

static uint64_t instructions;

static void count_block(qemu_plugin_id_t id, struct qemu_plugin_tb *block) {
    (void)id;
    qemu_plugin_register_vcpu_tb_exec_inline(block, QEMU_PLUGIN_INLINE_ADD_U64, &instructions,
                                             qemu_plugin_tb_n_insns(block));
}

static void print_count(qemu_plugin_id_t id, void *user_data) {
    (void)id;
    (void)user_data;
    fprintf(stderr, "instructions %" PRIu64 "\n", instructions);
}

int qemu_plugin_install(qemu_plugin_id_t id, const struct qemu_info *info, int argc, char **argv) {
    (void)info;
    (void)argc;
    (void)argv;
    qemu_plugin_register_vcpu_tb_trans_cb(id, count_block);
    qemu_plugin_register_atexit_cb(id, print_count, NULL);
    return 0;
}
