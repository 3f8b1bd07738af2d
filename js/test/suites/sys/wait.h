// Processes: the program around runs a test a second time for each of its children (run.mjs).
#pragma once

#include <sys/types.h>

extern "C" {
[[clang::import_module("env"), clang::import_name("fork")]] pid_t fork();
[[clang::import_module("env"), clang::import_name("waitpid")]] pid_t waitpid(pid_t child, int *status, int options);
}
#define WIFSIGNALED(status) ((status) > 0 && (status) < 127)
#define WTERMSIG(status) ((status)&127)
