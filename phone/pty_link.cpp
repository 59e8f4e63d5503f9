#include "phone/pty_link.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <termios.h>
#include <unistd.h>

#include <cerrno>
#include <cstdlib>
#include <cstring>

namespace tarnik::phone {

namespace {

std::string Errno(const std::string& what) {
    return what + ": " + std::strerror(errno);
}

}  // namespace

PtyLink::~PtyLink() {
    Close();
}

bool PtyLink::Open(const std::string& linkPath, std::string& error) {
    struct stat st {};
    if (lstat(linkPath.c_str(), &st) == 0 && !S_ISLNK(st.st_mode)) {
        error = linkPath + " exists and is not a symbolic link";
        return false;
    }
    link_ = linkPath;
    return CreatePty(error) && PointLink(error);
}

bool PtyLink::CreatePty(std::string& error) {
    master_ = posix_openpt(O_RDWR | O_NOCTTY | O_NONBLOCK | O_CLOEXEC);
    if (master_ < 0) {
        error = Errno("posix_openpt");
        return false;
    }
    if (grantpt(master_) != 0 || unlockpt(master_) != 0) {
        error = Errno("grantpt/unlockpt");
        return false;
    }
    char name[128];
    if (ptsname_r(master_, name, sizeof name) != 0) {
        error = Errno("ptsname_r");
        return false;
    }
    slave_ = name;
    // The slave's line discipline must pass bytes untouched both ways (no echo, no
    // CR/NL mapping, no line buffering) before any client opens it; Linux keeps the
    // setting while the master stays open.
    const int slave = open(name, O_RDWR | O_NOCTTY | O_CLOEXEC);
    if (slave < 0) {
        error = Errno("open " + slave_);
        return false;
    }
    termios tio{};
    const bool raw =
        tcgetattr(slave, &tio) == 0 && (cfmakeraw(&tio), tcsetattr(slave, TCSANOW, &tio) == 0);
    if (!raw)
        error = Errno("raw mode on " + slave_);
    close(slave);
    return raw;
}

bool PtyLink::PointLink(std::string& error) {
    // A new name renamed over the old one, so that the link never goes missing.
    const std::string temporary = link_ + ".new";
    unlink(temporary.c_str());
    if (symlink(slave_.c_str(), temporary.c_str()) != 0 ||
        rename(temporary.c_str(), link_.c_str()) != 0) {
        error = Errno("link " + link_ + " -> " + slave_);
        unlink(temporary.c_str());
        return false;
    }
    return true;
}

bool PtyLink::Renew(std::string& error) {
    // The new pty is linked before the old one hangs up, so a client that reopens at
    // once finds the new slave.
    const int old = master_;
    const bool ok = CreatePty(error) && PointLink(error);
    if (old >= 0)
        close(old);
    return ok;
}

void PtyLink::Close() {
    if (master_ >= 0)
        close(master_);
    master_ = -1;
    if (!link_.empty()) {
        // Only our own link: another phone may have taken the name meanwhile.
        char target[256];
        const ssize_t n = readlink(link_.c_str(), target, sizeof target - 1);
        if (n > 0 && std::string(target, static_cast<size_t>(n)) == slave_)
            unlink(link_.c_str());
        link_.clear();
    }
}

}  // namespace tarnik::phone
