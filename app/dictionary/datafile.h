#pragma once

#include <QString>
#include <cstdint>
#include <string>

// A WordNet data file, read one line at a time at the byte offsets the index gives. Lines are
// read with pread(2) rather than mapped, so the pages of the large data files never count
// towards the program's resident memory. lineAt() may be called from several threads.
//
// The constructor throws DictionaryError naming the file when it is missing, unreadable,
// empty, or does not end with a line break (a file cut short).
class DataFile {
public:
    explicit DataFile(const QString& path);
    ~DataFile();
    DataFile(DataFile&& other) noexcept;
    DataFile& operator=(DataFile&&) = delete;

    const QString& path() const { return m_path; }

    // The line that starts at `offset`, without its line break; empty past the end.
    std::string lineAt(uint64_t offset) const;

private:
    QString m_path;
    int m_fd = -1;
    uint64_t m_size = 0;
};
