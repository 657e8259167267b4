#include "sensechooser.h"

#include "morphy.h"

#include <QString>
#include <algorithm>
#include <unordered_map>
#include <unordered_set>

namespace {

// Function words, and the words glosses use for their own phrasing ("used", "especially").
bool isFunctionWord(std::string_view word)
{
    static const std::unordered_set<std::string_view> words{
        "about",   "above",      "across",    "after",     "again",     "against",   "all",
        "almost",  "along",      "already",   "also",      "although",  "always",    "am",
        "among",   "an",         "and",       "another",   "any",       "anyone",    "anything",
        "are",     "around",     "as",        "at",        "away",      "be",        "because",
        "been",    "before",     "being",     "below",     "between",   "both",      "but",
        "by",      "can",        "cannot",    "could",     "did",       "do",        "does",
        "doing",   "done",       "down",      "during",    "each",      "either",    "else",
        "enough",  "especially", "etc",       "even",      "ever",      "every",     "few",
        "for",     "from",       "further",   "had",       "has",       "have",      "having",
        "he",      "her",        "here",      "hers",      "herself",   "him",       "himself",
        "his",     "how",        "however",   "if",        "in",        "into",      "is",
        "it",      "its",        "itself",    "just",      "least",     "less",      "many",
        "may",     "me",         "might",     "more",      "most",      "much",      "must",
        "my",      "myself",     "neither",   "never",     "no",        "nor",       "not",
        "now",     "of",         "off",       "often",     "on",        "once",      "one",
        "ones",    "only",       "onto",      "or",        "other",     "others",    "otherwise",
        "our",     "ours",       "ourselves", "out",       "over",      "own",       "per",
        "perhaps", "rather",     "same",      "several",   "she",       "should",    "since",
        "so",      "some",       "somebody",  "someone",   "something", "sometimes", "such",
        "than",    "that",       "the",       "their",     "theirs",    "them",      "themselves",
        "then",    "there",      "these",     "they",      "this",      "those",     "though",
        "through", "thus",       "to",        "together",  "too",       "toward",    "towards",
        "under",   "until",      "up",        "upon",      "us",        "used",      "usually",
        "very",    "was",        "we",        "were",      "what",      "when",      "where",
        "whether", "which",      "while",     "who",       "whom",      "whose",     "why",
        "will",    "with",       "within",    "without",   "would",     "yet",       "you",
        "your",    "yours",      "yourself",  "yourselves"};
    return word.size() < 2 || words.contains(word);
}

// The distinct words of a text, in lower case: runs of letters.
std::unordered_set<std::string> wordsOf(QStringView text)
{
    std::unordered_set<std::string> words;
    QString word;
    auto flush = [&] {
        if (!word.isEmpty())
            words.insert(word.toStdString());
        word.clear();
    };
    for (const QChar c : text) {
        if (c.isLetter())
            word.append(c.toLower());
        else
            flush();
    }
    flush();
    return words;
}

// Each content word with the base forms it may stand for, reduced once per choice.
class Forms {
public:
    Forms(const WordNet& wordnet, const std::vector<std::string>& ignored)
        : m_wordnet(wordnet), m_ignored(ignored.begin(), ignored.end())
    {
    }

    // The word and its base forms in every part of speech, less the ignored ones; empty for
    // function words.
    const std::vector<std::string>& of(const std::string& word)
    {
        auto [at, added] = m_forms.try_emplace(word);
        if (!added || isFunctionWord(word) || m_ignored.contains(word))
            return at->second;
        std::vector<std::string>& forms = at->second;
        forms.push_back(word);
        for (const PartOfSpeech pos : kPartsOfSpeech) {
            for (std::string& form : Morphy::baseForms(m_wordnet, pos, word)) {
                if (!m_ignored.contains(form) &&
                    std::find(forms.begin(), forms.end(), form) == forms.end())
                    forms.push_back(std::move(form));
            }
        }
        return forms;
    }

private:
    const WordNet& m_wordnet;
    std::unordered_set<std::string> m_ignored;
    std::unordered_map<std::string, std::vector<std::string>> m_forms;
};

} // namespace

size_t SenseChooser::choose(const WordNet& wordnet, const std::vector<SenseCandidate>& candidates,
                            QStringView sentence, const std::vector<std::string>& ignored)
{
    Forms forms(wordnet, ignored);
    std::unordered_set<std::string> context;
    for (const std::string& word : wordsOf(sentence)) {
        for (const std::string& form : forms.of(word))
            context.insert(form);
    }

    size_t best = 0;
    int bestOverlap = 0;
    for (size_t i = 0; i < candidates.size() && !context.empty(); ++i) {
        const std::string_view gloss =
            wordnet.synset(candidates[i].pos, candidates[i].offset).gloss;
        int overlap = 0;
        for (const std::string& word :
             wordsOf(QString::fromUtf8(gloss.data(), qsizetype(gloss.size())))) {
            const std::vector<std::string>& glossForms = forms.of(word);
            overlap += std::any_of(glossForms.begin(), glossForms.end(),
                                   [&](const std::string& form) { return context.contains(form); });
        }
        if (overlap > bestOverlap || (overlap == bestOverlap && overlap > 0 &&
                                      candidates[i].tagCount > candidates[best].tagCount)) {
            best = i;
            bestOverlap = overlap;
        }
    }
    return best;
}
