// Bytes that come in by themselves: through standard input, a named pipe or a TCP connection. No
// wait is longer than a moment without asking whether to stop, whatever the sender does.
#pragma once

#include <cstdint>
#include <functional>
#include <string>

namespace host {

class ByteStream {
  public:
    enum class Kind { kStandardInput, kPipe, kTcp, kDevice };
    using Stop = std::function<bool()>;

    // What an address leads to: "-", tcp://HOST:PORT, tcp://HOST:PORT?listen, or the path of a
    // named pipe or of a device, which has more than bytes to give. Throws InputError when it is
    // none of these, whatever may come later.
    static Kind kind_of(const std::string& address);

    // Not of a device. Connects, or waits for somebody who connects. Throws std::runtime_error when
    // that fails, and InputError like kind_of(). `stop` must be callable as long as the stream
    // lives.
    ByteStream(const std::string& address, Stop stop);
    ~ByteStream();
    ByteStream(const ByteStream&) = delete;
    ByteStream& operator=(const ByteStream&) = delete;

    // After the end of a pipe: goes on with its next sender, of whom nothing gets lost.
    void reopen();

    enum class State {
        kBytes,
        kEnd,
        kMixed,  // bytes too, but one sender of a pipe left while another was there
        kStopped,
    };
    struct Taken {
        State state = State::kEnd;
        int bytes = 0;
    };
    // Waits for the next bytes and takes at most so many. An error of the connection is an end.
    Taken read(std::uint8_t* to, int most);

  private:
    // False when `stop` turned true first.
    bool wait_for(int file, short events) const;
    bool is_replaced() const;
    bool has_sender() const;
    void note_leaving();
    int connect_to(const std::string& host, const std::string& port) const;
    int accept_at(const std::string& host, const std::string& port) const;

    const std::string address_;
    const Kind kind_;
    const Stop stop_;
    int file_ = -1;
    int watch_ = -1;     // tells when a sender of a pipe leaves
    bool left_ = false;  // one did, and the end was not seen yet
    bool owned_ = true;
};

}  // namespace host
