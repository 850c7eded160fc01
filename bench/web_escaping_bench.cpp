// web_escaping_bench.cpp - throughput of the HTML and JSON escapers and of request parsing.
#include "http/HttpMessage.h"
#include "web/utility.h"

#include <chrono>
#include <cstdio>
#include <sstream>
#include <string>

template <class F> static double _seconds(F&& f) {
    auto start = std::chrono::steady_clock::now();
    f();
    return std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
}

int main() {
    std::string ascii, accented;
    for (int i = 0; i < 20000; ++i) {
        ascii += "Summer holiday & friends <2009> ";
        accented += "\xC3\xA9t\xC3\xA9 \xC3\xA0 Montr\xC3\xA9"
                    "al & \"amis\" ";
    }
    struct {
        const char* name;
        CFString_t text;
    } inputs[] = {{"ascii", makeString(ascii)}, {"accented", makeString(accented)}};
    for (const auto& input : inputs) {
        double mb = double(CFStringGetLength(input.text)) / 1e6;
        std::ostringstream html, json;
        double h = _seconds([&] {
            for (int i = 0; i < 20; ++i)
                html << HtmlString(input.text);
        });
        double j = _seconds([&] {
            for (int i = 0; i < 20; ++i)
                json << JavascriptString(input.text);
        });
        printf("%-9s HtmlString %7.1f M units/s   JavascriptString %7.1f M units/s\n", input.name,
               20 * mb / h, 20 * mb / j);
    }

    std::string one = "GET /json/getpics?lib=1&album=42 HTTP/1.1\r\nHost: photos.local:8080\r\n"
                      "User-Agent: gallery-viewer/5.0 (X11; Linux x86_64)\r\nAccept: */*\r\n"
                      "Cookie: theme=dark; sid=0123456789abcdef\r\n\r\n";
    std::string many;
    for (int i = 0; i < 1000; ++i)
        many += one;
    size_t answered = 0;
    double p = _seconds([&] {
        for (int round = 0; round < 100; ++round) {
            HttpRequest request;
            size_t used = 0;
            while (used < many.size()) {
                used += request.append(many.data() + used, many.size() - used);
                if (!request.isHeaderComplete()) break;
                answered += request.header("Cookie").has_value();
                request.next();
            }
        }
    });
    printf("HttpRequest %.0f pipelined requests/s (%zu answered)\n", double(answered) / p,
           answered);
    return 0;
}
