#include "host.h"
#include "host/text/utf8.h"

namespace tarnik::host {

Host::Host(const HostOptions& options)
    : output(options.trace),
      plugin(options.pluginPath, output),
      services(options.noSms),
      log(options.dataDir + L"\\log.txt"),
      archive(options.dataDir + L"\\archive.txt"),
      profiles(options.dataDir + L"\\profiles.txt"),
      table(*this),
      dataDir_(options.dataDir) {}

std::wstring Host::DataPath(const wchar_t* relative) const {
    return dataDir_ + L"\\" + relative;
}

std::optional<ProfileTarget> FindProfile(Host& host, const std::wstring& name, bool forSend,
                                         std::string& error) {
    const std::vector<StoredProfile>& profiles = host.profiles.Records();
    std::optional<ProfileTarget> found;
    for (size_t i = 0; i < profiles.size(); ++i) {
        if (profiles[i].name == name)
            found = ProfileTarget{i, profiles[i], nullptr};
    }
    if (!found) {
        error = "no profile named " + Utf8(name);
        return std::nullopt;
    }
    for (const RegisteredTransport& t : host.registered.transports()) {
        if (t.id == found->profile.transportId)
            found->transport = &t;
    }
    const RegisteredTransport* t = found->transport;
    if (t == nullptr || (forSend ? t->send == nullptr : t->configure == nullptr)) {
        error = "the transport of profile " + Utf8(name) + " is not registered";
        return std::nullopt;
    }
    return found;
}

}  // namespace tarnik::host
