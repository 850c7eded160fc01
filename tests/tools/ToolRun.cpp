// ToolRun.cpp - runs the programs and reads the property lists they write.
#include "ToolRun.h"

#include "cf/CFPropertyList.h"

#include <stdexcept>
#include <sys/wait.h>
#include <unistd.h>

namespace {

pid_t launch(const std::string& program, const std::vector<std::string>& arguments,
             const Environment& environment, const char* in, const char* out, const char* err) {
    pid_t child = fork();
    if (child != 0) return child;
    if (!freopen(in, "r", stdin) || !freopen(out, "w", stdout) || !freopen(err, "w", stderr))
        _exit(125);
    for (auto& [name, value] : environment)
        setenv(name.c_str(), value.c_str(), 1);
    std::string binary = TESSELLAN_BINARY_DIR "/" + program;
    std::vector<char*> argv{binary.data()};
    for (const std::string& argument : arguments)
        argv.push_back(const_cast<char*>(argument.c_str()));
    argv.push_back(nullptr);
    execv(argv[0], argv.data());
    _exit(127);
}

} // namespace

int finish(pid_t child) {
    int status = 0;
    waitpid(child, &status, 0);
    return WIFEXITED(status) ? WEXITSTATUS(status) : -1;
}

ToolRun runProgram(const std::string& program, const std::vector<std::string>& arguments,
                   const Environment& environment, const std::string& input) {
    TempFolder io; // apart from the files the program may see
    int status = finish(launch(program, arguments, environment, io.write("in", input).c_str(),
                               io.path("out").c_str(), io.path("err").c_str()));
    return {status, readFile(io.path("out")), readFile(io.path("err"))};
}

pid_t spawnProgram(const std::string& program, const std::vector<std::string>& arguments,
                   const Environment& environment) {
    return launch(program, arguments, environment, "/dev/null", "/dev/null", "/dev/null");
}

CFDictionary_t readPropertyList(const std::string& path) {
    CFURL_t url(CFURLCreateFromFileSystemRepresentation(path.data(), CFIndex(path.size()), false),
                CFURL_t::Create);
    CFReadStream_t stream(url);
    std::string error;
    CFTypeRef root = CFPropertyListCreateFromStream(stream, &error);
    if (!root) throw std::runtime_error(path + ": " + error);
    return CFDictionary_t(root, CFDictionary_t::Create);
}

std::string text(const CFDictionary_t& dict, CFStringRef key) {
    return CFStringGetUTF8(dict.get<CFString_t>(key));
}
