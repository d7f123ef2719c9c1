/// \file console.h
/// What the host shows: the library's messages from a level on, their counts, and the progress of long work on a terminal.
#ifndef LEOPOD_HOST_CONSOLE_H
#define LEOPOD_HOST_CONSOLE_H

#include <atomic>
#include <chrono>
#include <condition_variable>
#include <functional>
#include <mutex>
#include <string>
#include <thread>
#include <utility>
#include <vector>

#include "shared/messages.h"
#include "ulog.h"

namespace host {

/// A line on a terminal that says how far some work is: percent and time left where its amount is known, else the time it has taken.
/// Rewritten while the object lives, erased at its end. Nothing is shown in the first two seconds, and nothing at all where standard error
/// is no terminal. A second object within the life of another one stays silent. Messages of Console take the line away first; other output
/// waits until the object is gone.
class Progress {
  public:
    /// \param work   what is being done, such as "processing epochs"
    /// \param total  its amount, in the unit of `done`; 0: not known
    explicit Progress(std::string work, double total = 0.0);
    ~Progress();
    Progress(const Progress&) = delete;
    Progress& operator=(const Progress&) = delete;

    /// The amount done; cheap enough for the innermost loop.
    void done(double amount) { done_.store(amount, std::memory_order_relaxed); }
    /// Says something else from now on, such as the number of an iteration.
    void rename(const std::string& work);

  private:
    void tick();
    std::string text() const;

    std::string work_;
    double total_;
    std::atomic<double> done_{0.0};
    std::chrono::steady_clock::time_point start_ = std::chrono::steady_clock::now();
    bool ended_ = false;
    std::condition_variable end_;
    std::thread ticker_;  ///< draws; touches nothing but this line
};

/// Subscribes to the library's messages: prints those from the threshold on, and counts warnings and above. The library forms no text below the
/// lowest level that is taken.
class Console {
  public:
    using Listener = std::function<void(ulog_level_t, const char*)>;

    /// A function that gets the messages as well, from a level on and until its subscription ends.
    class Subscription {
      public:
        explicit Subscription(Console& console) : console_(&console) {}
        Subscription(Subscription&& other) noexcept : console_(std::exchange(other.console_, nullptr)) {}
        Subscription& operator=(Subscription&&) = delete;
        ~Subscription() {
            if (console_ != nullptr) console_->listen(ULOG_ALWAYS_LEVEL, nullptr);
        }

      private:
        Console* console_;
    };

    /// level: "trace", "debug", "info", "warning", "error", "critical" or "off".
    explicit Console(const std::string& level);
    ~Console();
    Console(const Console&) = delete;
    Console& operator=(const Console&) = delete;

    [[nodiscard]] Subscription subscribe(ulog_level_t level, Listener listener) {
        listen(level, std::move(listener));
        return Subscription(*this);
    }
    /// Messages from warnings on.
    const MessageCounts& messages() const { return messages_; }

  private:
    static void receive(ulog_level_t level, char* raw);
    void listen(ulog_level_t level, Listener listener);

    static Console* current_;
    int threshold_;
    MessageCounts messages_;
    Listener listener_;
};

}  // namespace host

#endif
