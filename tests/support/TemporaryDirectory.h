#pragma once

#include <algorithm>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <map>
#include <optional>
#include <sstream>
#include <string>
#include <vector>

namespace vantile::testing {

// A fresh directory under /tmp removed with everything in it when the test ends.
class TemporaryDirectory {
public:
    TemporaryDirectory()
    {
        std::string pattern = (std::filesystem::temp_directory_path() / "vantile-test-XXXXXX").string();
        path_ = ::mkdtemp(pattern.data());
    }
    ~TemporaryDirectory()
    {
        std::error_code ignored;
        std::filesystem::remove_all(path_, ignored);
    }
    TemporaryDirectory(const TemporaryDirectory&) = delete;
    TemporaryDirectory& operator=(const TemporaryDirectory&) = delete;

    const std::filesystem::path& path() const { return path_; }
    std::filesystem::path operator/(const std::string& name) const { return path_ / name; }
    // Every entry's name, hidden ones too, sorted.
    std::vector<std::string> fileNames() const
    {
        std::vector<std::string> names;
        for (const auto& entry : std::filesystem::directory_iterator(path_)) names.push_back(entry.path().filename());
        std::sort(names.begin(), names.end());
        return names;
    }

private:
    std::filesystem::path path_;
};

inline std::string readText(const std::filesystem::path& path)
{
    std::ifstream stream(path, std::ios::binary);
    std::ostringstream buffer;
    buffer << stream.rdbuf();
    return buffer.str();
}

inline void writeText(const std::filesystem::path& path, const std::string& text)
{
    std::filesystem::create_directories(path.parent_path());
    std::ofstream(path, std::ios::binary) << text;
}

// The first entry of `directory`, or none when it is empty or not there yet.
inline std::optional<std::filesystem::path> firstEntry(const std::filesystem::path& directory)
{
    std::error_code error;
    for (const auto& entry : std::filesystem::directory_iterator(directory, error)) return entry.path();
    return std::nullopt;
}

// Every regular file under `root` with its contents, to prove that nothing changed.
inline std::map<std::string, std::string> snapshotFiles(const std::filesystem::path& root)
{
    std::map<std::string, std::string> files;
    for (const auto& entry : std::filesystem::recursive_directory_iterator(root)) {
        if (entry.is_regular_file()) files[entry.path().lexically_relative(root).string()] = readText(entry.path());
    }
    return files;
}

}  // namespace vantile::testing
