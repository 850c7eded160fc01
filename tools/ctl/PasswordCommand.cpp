// PasswordCommand.cpp - password USER (read without echo) and password --off.
#include "ctl/Commands.h"
#include "ctl/Failure.h"
#include "ctl/Settings.h"
#include "ctl/Values.h"

#include <csignal>
#include <cstdio>
#include <iostream>
#include <termios.h>
#include <unistd.h>

namespace ctl {

namespace {

termios savedTerminal;

// Puts the terminal's echo back when the user interrupts the prompt.
void restoreAndDie(int signal) {
    tcsetattr(STDIN_FILENO, TCSAFLUSH, &savedTerminal);
    ::signal(signal, SIG_DFL);
    raise(signal);
}

// One line of standard input without its line end; false at the end of input.
bool readLine(std::string& line) {
    line.clear();
    for (;;) {
        char c;
        ssize_t n = read(STDIN_FILENO, &c, 1);
        if (n < 0 && errno == EINTR) continue;
        if (n <= 0) return !line.empty();
        if (c == '\n') break;
        line.push_back(c);
    }
    if (!line.empty() && line.back() == '\r') line.pop_back();
    return true;
}

// Asks on the terminal with echo off.
std::string askWithoutEcho(const char* prompt) {
    std::cerr << prompt << std::flush;
    tcgetattr(STDIN_FILENO, &savedTerminal);
    termios quiet = savedTerminal;
    quiet.c_lflag &= ~tcflag_t(ECHO);
    quiet.c_lflag |= ECHONL;
    struct sigaction restore = {}, oldInt, oldTerm;
    restore.sa_handler = restoreAndDie;
    sigaction(SIGINT, &restore, &oldInt);
    sigaction(SIGTERM, &restore, &oldTerm);
    tcsetattr(STDIN_FILENO, TCSAFLUSH, &quiet);
    std::string line;
    bool got = readLine(line);
    tcsetattr(STDIN_FILENO, TCSAFLUSH, &savedTerminal);
    sigaction(SIGINT, &oldInt, nullptr);
    sigaction(SIGTERM, &oldTerm, nullptr);
    if (!got) throw Refused("no password given");
    return line;
}

std::string readPassword() {
    if (!isatty(STDIN_FILENO)) {
        std::string line;
        if (!readLine(line)) throw Refused("no password on standard input");
        return line;
    }
    std::string first = askWithoutEcho("Password: ");
    if (first.empty()) throw Refused("the password is empty");
    if (askWithoutEcho("Again: ") != first) throw Refused("the two passwords differ");
    return first;
}

} // namespace

void passwordCommand(Context& context, const Words& words) {
    CommandArgs args = splitCommandArgs("password", words, {}, {"--off"});
    bool off = args.flags.count("--off") > 0;
    expectPlain("password", args, off ? 0 : 1, off ? 0 : 1, "password USER | password --off");
    Settings settings(context.prefsPath);
    if (off) {
        settings.set(CFSTR("auth"), newBoolean(false));
        settings.set(CFSTR("pass"), nullptr);
        settings.save(context.out);
        context.out << "visitors are no longer asked for a password\n";
        return;
    }
    const std::string& user = args.plain[0];
    if (user.empty()) throw Refused("the user name is empty");
    for (unsigned char c : user)
        if (c == ':' || c < 0x20 || c == 0x7F)
            throw Refused("the user name may not hold ':' or control characters");
    std::string password = readPassword();
    if (password.empty()) throw Refused("the password is empty");
    settings.set(CFSTR("auth"), newBoolean(true));
    settings.set(CFSTR("user"), newString(user));
    settings.set(CFSTR("pass"), newString(password));
    settings.save(context.out);
    context.out << "visitors are asked for user \"" << user << "\" and its password; "
                << settings.path() << " is readable by its owner only\n";
}

} // namespace ctl
