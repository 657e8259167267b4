#include "dictionary/wordnet.h"

#include "dictionary/dictionaryerror.h"

#include <charconv>

namespace {

constexpr const char* kFileNames[] = {"noun", "verb", "adj", "adv"};

// Splits a line into its space-separated fields, skipping empty ones.
std::vector<std::string_view> fields(std::string_view line)
{
    std::vector<std::string_view> result;
    size_t at = 0;
    while (at < line.size()) {
        const size_t end = std::min(line.find(' ', at), line.size());
        if (end > at)
            result.push_back(line.substr(at, end - at));
        at = end + 1;
    }
    return result;
}

std::optional<uint32_t> number(std::string_view text, int base = 10)
{
    uint32_t value = 0;
    const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), value, base);
    if (error != std::errc() || end != text.data() + text.size())
        return std::nullopt;
    return value;
}

// The first field of a line; licence lines begin with two blanks and so have an empty key,
// which sorts before every lemma.
std::string_view keyOf(std::string_view line)
{
    return line.substr(0, line.find(' '));
}

} // namespace

QString partOfSpeechName(PartOfSpeech pos)
{
    switch (pos) {
    case PartOfSpeech::Noun:
        return QStringLiteral("noun");
    case PartOfSpeech::Verb:
        return QStringLiteral("verb");
    case PartOfSpeech::Adjective:
        return QStringLiteral("adjective");
    case PartOfSpeech::Adverb:
        return QStringLiteral("adverb");
    }
    return {};
}

std::string_view Synset::definition() const
{
    std::string_view text = std::string_view(gloss).substr(0, gloss.find('"'));
    while (!text.empty() && (text.back() == ' ' || text.back() == ';'))
        text.remove_suffix(1);
    return text;
}

QString WordNet::defaultDirectory()
{
    const QString configured = qEnvironmentVariable("PEEKWELL_WORDNET_DIR");
    return configured.isEmpty() ? QStringLiteral("/usr/share/wordnet") : configured;
}

WordNet::WordNet(const QString& directory)
    : m_files(openFiles(directory)), m_counts(directory + QStringLiteral("/cntlist.rev"))
{
}

std::vector<WordNet::Files> WordNet::openFiles(const QString& directory)
{
    std::vector<Files> result;
    for (const char* name : kFileNames) {
        const QString suffix = QString::fromLatin1(name);
        result.push_back(
            Files{MappedFile(directory + QStringLiteral("/index.") + suffix),
                  DataFile(directory + QStringLiteral("/data.") + suffix),
                  MappedFile(directory + QLatin1Char('/') + suffix + QStringLiteral(".exc"))});
    }
    return result;
}

std::string_view WordNet::find(const MappedFile& file, std::string_view key)
{
    if (key.empty())
        return {};
    const size_t at = file.lowerBound([key](std::string_view line) { return keyOf(line) < key; });
    const std::string_view line = file.lineAt(at);
    return keyOf(line) == key ? line : std::string_view();
}

std::optional<IndexEntry> WordNet::entry(PartOfSpeech pos, std::string_view lemma) const
{
    const MappedFile& index = files(pos).index;
    const std::string_view line = find(index, lemma);
    if (line.empty())
        return std::nullopt;
    // lemma pos synset_cnt p_cnt [ptr_symbol...] sense_cnt tagsense_cnt synset_offset...
    const std::vector<std::string_view> f = fields(line);
    const std::optional<uint32_t> senses = f.size() > 3 ? number(f[2]) : std::nullopt;
    const std::optional<uint32_t> pointers = f.size() > 3 ? number(f[3]) : std::nullopt;
    if (!senses || !pointers || f.size() != 6 + *pointers + *senses)
        throw DictionaryError(index.path(), QStringLiteral("has a damaged line for ") +
                                                QString::fromUtf8(lemma.data(), lemma.size()));
    IndexEntry result;
    result.lemma = f[0];
    result.tagSenseCount = int(number(f[5 + *pointers]).value_or(0));
    for (size_t i = f.size() - *senses; i < f.size(); ++i) {
        const std::optional<uint32_t> offset = number(f[i]);
        if (!offset)
            throw DictionaryError(index.path(), QStringLiteral("has a damaged line for ") +
                                                    QString::fromUtf8(lemma.data(), lemma.size()));
        result.offsets.push_back(*offset);
    }
    return result;
}

bool WordNet::contains(PartOfSpeech pos, std::string_view lemma) const
{
    return !find(files(pos).index, lemma).empty();
}

Synset WordNet::synset(PartOfSpeech pos, uint32_t offset) const
{
    // synset_offset lex_filenum ss_type w_cnt word lex_id [word lex_id...] p_cnt ... | gloss
    // The line begins with its own offset, which tells a file cut short or replaced.
    const DataFile& data = files(pos).data;
    const std::string text = data.lineAt(offset);
    const std::string_view line = text;
    const size_t bar = line.find(" | ");
    const std::vector<std::string_view> f = fields(line.substr(0, bar));
    const uint32_t count = f.size() > 3 ? number(f[3], 16).value_or(0) : 0;
    if (bar == std::string_view::npos || number(f[0]) != offset || count == 0 ||
        f.size() < 4 + 2 * count)
        throw DictionaryError(data.path(),
                              QStringLiteral("has no synset at offset %1").arg(offset));
    Synset synset;
    for (uint32_t i = 0; i < count; ++i) {
        std::string_view word = f[4 + 2 * i];
        // Adjectives may carry a syntactic marker: "galore(ip)".
        if (word.ends_with(')') && word.find('(') != std::string_view::npos)
            word = word.substr(0, word.find('('));
        synset.words.emplace_back(word);
    }
    std::string_view gloss = line.substr(bar + 3);
    while (!gloss.empty() && gloss.back() == ' ')
        gloss.remove_suffix(1);
    synset.gloss = gloss;
    return synset;
}

std::vector<std::string_view> WordNet::exceptions(PartOfSpeech pos, std::string_view form) const
{
    std::vector<std::string_view> bases = fields(find(files(pos).exceptions, form));
    if (!bases.empty())
        bases.erase(bases.begin());
    return bases;
}

std::vector<int> WordNet::tagCounts(PartOfSpeech pos, std::string_view lemma) const
{
    // sense_key sense_number tag_cnt, where sense_key = lemma%ss_type:…; ss_type 1 noun, 2 verb,
    // 3 adjective, 4 adverb, 5 adjective satellite. A lemma's keys are adjacent.
    std::string prefix(lemma);
    prefix += '%';
    std::vector<int> counts;
    const std::string_view bytes = m_counts.bytes();
    size_t at = m_counts.lowerBound([&](std::string_view line) { return line < prefix; });
    while (at < bytes.size()) {
        const std::string_view line = m_counts.lineAt(at);
        at += line.size() + 1;
        if (!line.starts_with(prefix))
            break;
        const char type = line.size() > prefix.size() ? line[prefix.size()] : '0';
        const bool matches =
            type == '1' + int(pos) || (pos == PartOfSpeech::Adjective && type == '5');
        const std::vector<std::string_view> f = fields(line);
        const std::optional<uint32_t> sense = f.size() == 3 ? number(f[1]) : std::nullopt;
        const std::optional<uint32_t> count = f.size() == 3 ? number(f[2]) : std::nullopt;
        if (!matches || !sense || !count || *sense == 0 || *sense > 1000)
            continue;
        if (counts.size() < *sense)
            counts.resize(*sense);
        counts[*sense - 1] += int(*count);
    }
    return counts;
}
