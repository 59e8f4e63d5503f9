// File helpers of the host's data folder, shared by the core library (its translations) and
// the host program: UTF-8 text files written whole or a line at a time, their folders created
// on first write.
#pragma once

#include <optional>
#include <string>
#include <vector>

namespace tarnik::host {

bool EnsureDirectory(const std::wstring& path);
bool AppendUtf8Line(const std::wstring& path, const std::string& line);
std::optional<std::string> ReadWholeFile(const std::wstring& path);
bool WriteWholeFile(const std::wstring& path, const std::string& content);
std::vector<std::string> SplitLines(const std::string& content);
std::wstring FileNameOf(const std::wstring& path);
std::wstring DirectoryOf(const std::wstring& path);

}  // namespace tarnik::host
