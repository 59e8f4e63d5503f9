#include "host/files/files.h"

#include <windows.h>

#include <cstdio>

namespace tarnik::host {

bool EnsureDirectory(const std::wstring& path) {
    if (path.empty()) {
        return false;
    }
    const DWORD attributes = GetFileAttributesW(path.c_str());
    if (attributes != INVALID_FILE_ATTRIBUTES) {
        return (attributes & FILE_ATTRIBUTE_DIRECTORY) != 0;
    }
    const std::wstring parent = DirectoryOf(path);
    if (!parent.empty() && parent != path && !EnsureDirectory(parent)) {
        return false;
    }
    return CreateDirectoryW(path.c_str(), nullptr) || GetLastError() == ERROR_ALREADY_EXISTS;
}

namespace {

// Creates the file's folder first; mode "wb" replaces the file, "ab" adds to its end.
bool WriteToFile(const std::wstring& path, const wchar_t* mode, const std::string& content) {
    if (!EnsureDirectory(DirectoryOf(path))) {
        return false;
    }
    FILE* file = _wfopen(path.c_str(), mode);
    if (file == nullptr) {
        return false;
    }
    const bool written = std::fwrite(content.data(), 1, content.size(), file) == content.size();
    return std::fclose(file) == 0 && written;
}

}  // namespace

bool AppendUtf8Line(const std::wstring& path, const std::string& line) {
    return WriteToFile(path, L"ab", line + "\n");
}

std::optional<std::string> ReadWholeFile(const std::wstring& path) {
    FILE* file = _wfopen(path.c_str(), L"rb");
    if (file == nullptr) {
        return std::nullopt;
    }
    std::string content;
    char chunk[4096];
    size_t got = 0;
    while ((got = std::fread(chunk, 1, sizeof chunk, file)) > 0) {
        content.append(chunk, got);
    }
    std::fclose(file);
    return content;
}

bool WriteWholeFile(const std::wstring& path, const std::string& content) {
    return WriteToFile(path, L"wb", content);
}

std::vector<std::string> SplitLines(const std::string& content) {
    std::vector<std::string> lines;
    size_t start = 0;
    while (start < content.size()) {
        size_t end = content.find('\n', start);
        if (end == std::string::npos) {
            end = content.size();
        }
        std::string line = content.substr(start, end - start);
        if (!line.empty() && line.back() == '\r') {
            line.pop_back();
        }
        lines.push_back(std::move(line));
        start = end + 1;
    }
    return lines;
}

std::wstring FileNameOf(const std::wstring& path) {
    const size_t slash = path.find_last_of(L"\\/");
    return slash == std::wstring::npos ? path : path.substr(slash + 1);
}

std::wstring DirectoryOf(const std::wstring& path) {
    const size_t slash = path.find_last_of(L"\\/");
    if (slash == std::wstring::npos) {
        return {};
    }
    // Keep the root's separator: "C:\" rather than "C:".
    if (slash == 2 && path.size() > 1 && path[1] == L':') {
        return path.substr(0, 3);
    }
    return path.substr(0, slash);
}

}  // namespace tarnik::host
