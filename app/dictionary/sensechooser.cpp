#include "dictionary/sensechooser.h"

#include "dictionary/morphy.h"

#include <QString>
#include <algorithm>
#include <unordered_map>
#include <unordered_set>

namespace {

// Function words, and the words glosses use for their own phrasing ("used", "especially").
bool isFunctionWord(std::string_view word)
{
    // Never destroyed: a lookup still running on the I/O pool when the process ends may read it.
    static const auto* words = new std::unordered_set<std::string_view>{
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
    return word.size() < 2 || words->contains(word);
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

// The sentence's content words with their base forms, and which words of a gloss share one.
class Overlap {
public:
    Overlap(const WordNet& wordnet, QStringView sentence, const std::vector<std::string>& ignored)
        : m_wordnet(wordnet)
    {
        const std::unordered_set<std::string> skipped(ignored.begin(), ignored.end());
        for (const std::string& word : wordsOf(sentence)) {
            if (isFunctionWord(word) || skipped.contains(word))
                continue;
            m_context.insert(word);
            for (const PartOfSpeech pos : kPartsOfSpeech) {
                for (std::string& form : Morphy::baseForms(wordnet, pos, word))
                    m_context.insert(std::move(form));
            }
        }
        for (const std::string& form : skipped)
            m_context.erase(form);
    }

    bool isEmpty() const { return m_context.empty(); }

    // How many distinct content words of the gloss stand for a word of the sentence: the word
    // itself or a base form of it. A gloss word's candidate forms are looked up in WordNet's
    // index only when the sentence has them, so a gloss costs little more than its hashing.
    int of(std::string_view gloss)
    {
        int shared = 0;
        for (const std::string& word :
             wordsOf(QString::fromUtf8(gloss.data(), qsizetype(gloss.size()))))
            shared += sharesForm(word);
        return shared;
    }

private:
    bool sharesForm(const std::string& word)
    {
        auto [at, added] = m_shares.try_emplace(word, false);
        bool& shares = at->second;
        if (!added || isFunctionWord(word))
            return shares;
        for (const PartOfSpeech pos : kPartsOfSpeech) {
            for (const std::string& form : Morphy::candidates(m_wordnet, pos, word)) {
                if (m_context.contains(form) && (form == word || m_wordnet.contains(pos, form)))
                    return shares = true;
            }
        }
        return shares;
    }

    const WordNet& m_wordnet;
    std::unordered_set<std::string> m_context;      // the sentence's words and base forms
    std::unordered_map<std::string, bool> m_shares; // gloss words seen so far
};

} // namespace

size_t SenseChooser::choose(const WordNet& wordnet, const std::vector<SenseCandidate>& candidates,
                            QStringView sentence, const std::vector<std::string>& ignored)
{
    Overlap overlap(wordnet, sentence, ignored);
    size_t best = 0;
    int bestShared = 0;
    for (size_t i = 0; i < candidates.size() && !overlap.isEmpty(); ++i) {
        const int shared =
            overlap.of(wordnet.synset(candidates[i].pos, candidates[i].offset).gloss);
        if (shared > bestShared || (shared == bestShared && shared > 0 &&
                                    candidates[i].tagCount > candidates[best].tagCount)) {
            best = i;
            bestShared = shared;
        }
    }
    return best;
}
