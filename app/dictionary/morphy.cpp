#include "dictionary/morphy.h"

#include <QString>
#include <algorithm>
#include <span>

namespace {

struct Rule {
    std::string_view ending;
    std::string_view replacement;
};

// WordNet's rules of detachment, per part of speech; adverbs have none.
constexpr Rule kNounRules[] = {{"s", ""},      {"ses", "s"},   {"xes", "x"},   {"zes", "z"},
                               {"ches", "ch"}, {"shes", "sh"}, {"men", "man"}, {"ies", "y"}};
constexpr Rule kVerbRules[] = {{"s", ""},   {"ies", "y"}, {"es", "e"},  {"es", ""},
                               {"ed", "e"}, {"ed", ""},   {"ing", "e"}, {"ing", ""}};
constexpr Rule kAdjectiveRules[] = {{"er", ""}, {"est", ""}, {"er", "e"}, {"est", "e"}};

std::span<const Rule> rules(PartOfSpeech pos)
{
    switch (pos) {
    case PartOfSpeech::Noun:
        return kNounRules;
    case PartOfSpeech::Verb:
        return kVerbRules;
    case PartOfSpeech::Adjective:
        return kAdjectiveRules;
    case PartOfSpeech::Adverb:
        break;
    }
    return {};
}

void add(std::vector<std::string>& forms, std::string form)
{
    if (std::find(forms.begin(), forms.end(), form) == forms.end())
        forms.push_back(std::move(form));
}

bool isApostrophe(QChar c)
{
    return c == QLatin1Char('\'') || c == QChar(0x2019) || c == QChar(0x02BC);
}

} // namespace

std::string Morphy::normalised(QStringView term)
{
    const QString decomposed = term.toString().normalized(QString::NormalizationForm_KD);
    QString text;
    text.reserve(decomposed.size());
    for (const QChar c : decomposed) {
        if (c.category() == QChar::Mark_NonSpacing)
            continue;
        text.append(isApostrophe(c) ? QLatin1Char('\'') : c.toLower());
    }
    // Keep the letters and digits at both ends; inside, blanks join words with '_'.
    qsizetype begin = 0;
    qsizetype end = text.size();
    while (begin < end && !text[begin].isLetterOrNumber())
        ++begin;
    while (end > begin && !text[end - 1].isLetterOrNumber())
        --end;
    text = text.mid(begin, end - begin);
    if (text.endsWith(QStringLiteral("'s")))
        text.chop(2);
    text = text.simplified().replace(QLatin1Char(' '), QLatin1Char('_'));
    return text.toStdString();
}

std::vector<std::string> Morphy::candidates(const WordNet& wordnet, PartOfSpeech pos,
                                            std::string_view word)
{
    std::vector<std::string> result;
    for (const std::string_view base : wordnet.exceptions(pos, word))
        result.emplace_back(base);
    result.emplace_back(word);
    // A noun ending in "ss" is already singular ("glass", "boss").
    if (pos == PartOfSpeech::Noun && word.ends_with("ss"))
        return result;
    for (const Rule& rule : rules(pos)) {
        if (word.size() <= rule.ending.size() || !word.ends_with(rule.ending))
            continue;
        std::string base(word.substr(0, word.size() - rule.ending.size()));
        base += rule.replacement;
        result.push_back(std::move(base));
    }
    return result;
}

std::vector<std::string> Morphy::baseForms(const WordNet& wordnet, PartOfSpeech pos,
                                           std::string_view word)
{
    std::vector<std::string> forms;
    if (word.empty())
        return forms;
    for (std::string& form : candidates(wordnet, pos, word)) {
        if (wordnet.contains(pos, form))
            add(forms, std::move(form));
    }
    const size_t blank = word.rfind('_');
    if (forms.empty() && blank != std::string_view::npos) {
        const std::string head(word.substr(0, blank + 1));
        for (const std::string& last : baseForms(wordnet, pos, word.substr(blank + 1))) {
            if (wordnet.contains(pos, head + last))
                add(forms, head + last);
        }
    }
    return forms;
}
