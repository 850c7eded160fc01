// EngineThread.h - the connection engine running in the test's own process, on a thread of its
// own, answering with a handler the test gives; a leak check when it stops.
#pragma once

#include "http/EventLoop.h"
#include "http/HttpContext.h"
#include "http/Server.h"

#include <chrono>
#include <functional>
#include <future>
#include <gtest/gtest.h>
#include <mutex>
#include <thread>
#include <unistd.h>

namespace testsupport {

class EngineThread {
  public:
    using Handler = std::function<std::unique_ptr<HttpReply>(const HttpRequest&)>;

    using Classifier = HttpWorkKind (*)(const HttpRequest&);
    // Listens on a free loopback port and runs the loop, answering with handler (a reply, or a
    // heavy phase when the handler is given as HeavyHandler). REQUIRES: one at a time.
    EngineThread(Handler handler, Classifier classifier, double idleSeconds = 60,
                 HttpReuseRules reuse = {}) {
        handler_ = std::move(handler);
        classifier_ = classifier;
        HttpEngineConfig config;
        config.handler = [](void*, const HttpRequest& r) {
            HttpAnswer answer;
            if (r.url().starts_with("/phases")) {
                answer.heavy = std::make_unique<Phase>(r);
                return answer;
            }
            answer.reply = handler_(r);
            return answer;
        };
        if (classifier)
            config.classifier = [](void*, const HttpRequest& r) { return classifier_(r); };
        config.idleSeconds = idleSeconds;
        config.reuse = reuse;
        HttpContextConfigure(config);
        ServerContext context = {};
        server_ = ServerCreate(_accept, &context);
        if (!server_ || !ServerConnect(server_, nullptr, nullptr, 0))
            throw std::runtime_error("no server");
        port_ = int(ServerGetPort(server_));
        uv_async_init(EventLoop(), &async_, _runQueued);
        async_.data = this;
        thread_ = std::thread([] { uv_run(EventLoop(), UV_RUN_DEFAULT); });
    }
    // Runs work on the loop thread and waits for it.
    void onLoop(const std::function<void()>& work) {
        std::promise<void> done;
        {
            std::lock_guard<std::mutex> lock(mutex_);
            queued_ = [&] { work(), done.set_value(); };
        }
        uv_async_send(&async_);
        done.get_future().wait();
    }

    // Waits for every connection to be gone (the clients must have closed theirs), fails the
    // test if one stays, then ends the loop.
    ~EngineThread() {
        size_t live = 0;
        for (int i = 0; i < 200; ++i) {
            onLoop([&] { live = HttpContextLiveCount(); });
            if (live == 0) break;
            std::this_thread::sleep_for(std::chrono::milliseconds(25));
        }
        EXPECT_EQ(live, 0u) << "connections left behind";
        onLoop([this] {
            while (HttpContextCloseOldestWaiting()) {
            }
            ServerInvalidate(server_);
            ServerRelease(server_);
            uv_close(reinterpret_cast<uv_handle_t*>(&async_), nullptr);
        });
        thread_.join();
    }
    int port() const { return port_; }

  private:
    // A request for "/phases...": its answer is a heavy phase that the handler answers.
    struct Phase : HttpHeavyPhase {
        explicit Phase(const HttpRequest& request) : request_(request) {}
        std::unique_ptr<HttpReply> run() override { return handler_(request_); }
        const HttpRequest& request_;
    };
    static inline Handler handler_;
    static inline Classifier classifier_;
    static void _accept(Server*, int socket, const CFStreamError*, void*) {
        if (socket < 0) return;
        HttpContext* context = HttpContextCreate(socket);
        if (!context) close(socket);
        if (context && !HttpContextOpen(context)) HttpContextRelease(context);
    }
    static void _runQueued(uv_async_t* async) {
        auto* self = static_cast<EngineThread*>(async->data);
        std::function<void()> work;
        {
            std::lock_guard<std::mutex> lock(self->mutex_);
            work.swap(self->queued_);
        }
        if (work) work();
    }

    Server* server_ = nullptr;
    int port_ = 0;
    uv_async_t async_;
    std::thread thread_;
    std::mutex mutex_;
    std::function<void()> queued_; // set by onLoop, run on the loop thread
};

} // namespace testsupport
