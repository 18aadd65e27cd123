// Small helpers used throughout: the path gate, text and time helpers.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

// The gate of all file access: maps a device path into the device sandbox
// and resolves it. Empty when the path does not resolve (a missing file is
// silent, other failures log).
std::string CheckPath(const std::string path);
// realpath into a cleared buffer; empty on failure. Does not map the path.
std::string RealPath(const std::string &path);
// Where a device path lives on this system (see device_path.h). For paths
// that need not exist yet (directories to create, files to write).
std::string DevicePathOf(const std::string &path);

// Pieces between delimiters, empty pieces included. Empty delimiter: one piece.
std::vector<std::string> Split(const std::string &text, const std::string &delimiter);
std::string Trim(const std::string &text);
// Form 0 "%Y.%m.%d_%H.%M.%S.mmm", 1 "%Y-%m-%d %H.%M.%S.mmm", 2 "%Y-%m-%d %H:%M:%S".
std::string FormatTime(uint64_t ms, int form);
