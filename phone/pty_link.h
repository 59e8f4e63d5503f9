// The phone's end of the cable: a pseudo-terminal master whose slave is reachable
// through a symbolic link that clients open as their serial port.
#pragma once

#include <string>

namespace tarnik::phone {

class PtyLink {
public:
    PtyLink() = default;
    ~PtyLink();
    PtyLink(const PtyLink&) = delete;
    PtyLink& operator=(const PtyLink&) = delete;

    // Creates a pty in raw mode and points `linkPath` at its slave, replacing a stale
    // symbolic link there but nothing else.
    bool Open(const std::string& linkPath, std::string& error);
    // Hangs up on the client and links a fresh pty, as a cable pulled and plugged back.
    bool Renew(std::string& error);
    // Closes the master and removes the link.
    void Close();

    int fd() const { return master_; }
    const std::string& slaveName() const { return slave_; }

private:
    bool CreatePty(std::string& error);
    bool PointLink(std::string& error);

    int master_ = -1;
    std::string slave_;
    std::string link_;
};

}  // namespace tarnik::phone
