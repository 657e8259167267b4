#pragma once

#include <QString>
#include <string_view>

// One WordNet file mapped read-only. The kernel reads a page when it is first touched, so
// a look-up costs the few pages it reads, not the size of the file. bytes() stays valid as
// long as the object lives; moving it hands the mapping over.
//
// The constructor throws DictionaryError naming the file when it is missing, unreadable,
// empty, or does not end with a line break (a file cut short).
class MappedFile {
public:
    explicit MappedFile(const QString& path);
    ~MappedFile();
    MappedFile(MappedFile&& other) noexcept;
    MappedFile& operator=(MappedFile&&) = delete;

    const QString& path() const { return m_path; }
    std::string_view bytes() const { return m_bytes; }

    // The line that starts at `offset`, without its line break.
    std::string_view lineAt(size_t offset) const;

    // The first line, at or after the line start `from`, for which `isBefore(line)` is false;
    // returns its offset, or the file's size. The lines must be ordered so that `isBefore`
    // holds for every line up to some point and for none after it (a binary search).
    template <typename IsBefore> size_t lowerBound(IsBefore isBefore) const;

private:
    QString m_path;
    std::string_view m_bytes; // the whole mapping
};

template <typename IsBefore> size_t MappedFile::lowerBound(IsBefore isBefore) const
{
    // lo and hi are line starts; every line before lo is "before", none from hi on.
    size_t lo = 0;
    size_t hi = m_bytes.size();
    while (lo < hi) {
        const size_t mid = lo + (hi - lo) / 2;
        const size_t back = m_bytes.substr(lo, mid - lo).rfind('\n');
        const size_t start = back == std::string_view::npos ? lo : lo + back + 1;
        const std::string_view line = lineAt(start);
        if (isBefore(line))
            lo = start + line.size() + 1;
        else
            hi = start;
    }
    return lo;
}
