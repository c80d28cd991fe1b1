#pragma once

#include <termios.h>

#include <string>
#include <string_view>

namespace station {

// A real tty that is the station's alone while it is open: raw, and never waited for.
class SerialDevice {
  public:
    SerialDevice() = default;
    SerialDevice(const SerialDevice&) = delete;
    SerialDevice& operator=(const SerialDevice&) = delete;
    ~SerialDevice() { close(); }

    // Opens it as its user has set his line. False with errno set when it is no tty, is somebody
    // else's, or cannot be opened.
    bool open(const std::string& path, const termios& user);
    void close();

    bool isOpen() const { return fd_ != -1; }
    int descriptor() const { return fd_; }

    // Takes over speed, stop bits and flow control.
    void follow(const termios& user);
    // How many bytes it took; all when it is gone.
    std::size_t write(std::string_view bytes) const;
    // Reads what there is into `bytes`. False when the device is gone.
    bool read(std::string* bytes) const;

  private:
    int fd_ = -1;            // -1: it is not open
    termios settings_ = {};  // that it has
};

}  // namespace station
