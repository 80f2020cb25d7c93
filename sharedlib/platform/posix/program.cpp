// sharedlib/platform/posix/program.cpp: helper programs by posix_spawn.
#include "sharedlib/platform/program.h"
#include <csignal>
#include <fcntl.h>
#include <spawn.h>
#include <unistd.h>

namespace platform {

int startProgram(std::vector<std::string> words, ProgramInput input, std::intptr_t& process) {
    std::vector<char*> arguments;
    arguments.reserve(words.size() + 1);
    for (std::string& word : words) {
        arguments.push_back(word.data());
    }
    arguments.push_back(nullptr);
    sigset_t all;
    sigset_t none;
    sigfillset(&all);
    sigemptyset(&none);
    posix_spawnattr_t attributes;
    posix_spawn_file_actions_t actions;
    posix_spawnattr_init(&attributes);
    posix_spawnattr_setflags(&attributes, POSIX_SPAWN_SETSIGDEF | POSIX_SPAWN_SETSIGMASK);
    posix_spawnattr_setsigdefault(&attributes, &all);
    posix_spawnattr_setsigmask(&attributes, &none);
    posix_spawn_file_actions_init(&actions);
    if (input == ProgramInput::nothing) {
        posix_spawn_file_actions_addopen(&actions, STDIN_FILENO, "/dev/null", O_RDONLY, 0);
    }
    posix_spawn_file_actions_addclosefrom_np(&actions, STDERR_FILENO + 1);
    pid_t child = -1;
    const int error = ::posix_spawnp(&child, arguments[0], &actions, &attributes, arguments.data(), environ);
    posix_spawn_file_actions_destroy(&actions);
    posix_spawnattr_destroy(&attributes);
    process = child;
    return error;
}

} // namespace platform
