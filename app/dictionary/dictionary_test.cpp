// Against the WordNet files Debian's wordnet-base installs.
#include "dictionary/dictionary.h"
#include "dictionary/morphy.h"

#include <gtest/gtest.h>

namespace {

std::vector<std::string> forms(const WordNet& wordnet, PartOfSpeech pos, std::string_view word)
{
    return Morphy::baseForms(wordnet, pos, word);
}

TEST(DictionaryTest, BaseFormsComeFromTheExceptionListsThenTheDetachmentRules)
{
    const WordNet wordnet;
    using P = PartOfSpeech;
    struct Case {
        const char* word;
        P pos;
        std::vector<std::string> expected;
    };
    const Case cases[] = {
        // Exception lists, one per part of speech.
        {"geese", P::Noun, {"goose"}},
        {"running", P::Verb, {"run"}},
        {"happier", P::Adjective, {"happy"}},
        {"better", P::Adjective, {"good", "well", "better"}},
        {"best", P::Adverb, {"well", "best"}},
        // Detachment rules.
        {"studies", P::Noun, {"study"}},
        {"boxes", P::Noun, {"box"}},
        {"churches", P::Noun, {"church"}},
        {"firemen", P::Noun, {"fireman"}},
        {"glass", P::Noun, {"glass"}},
        {"hoped", P::Verb, {"hope", "hop"}},
        {"making", P::Verb, {"make"}},
        {"largest", P::Adjective, {"large"}},
        // Phrases, whole or with the last word reduced.
        {"ice_cream", P::Noun, {"ice_cream"}},
        {"ice_creams", P::Noun, {"ice_cream"}},
        // Not in WordNet at all.
        {"qwertyuiop", P::Noun, {}},
        {"running", P::Adverb, {}},
    };
    for (const Case& c : cases)
        EXPECT_EQ(forms(wordnet, c.pos, c.word), c.expected) << c.word;
}

TEST(DictionaryTest, DefinesTheWordAsItStandsInText)
{
    const WordNet wordnet;
    const std::optional<Definition> bank = Dictionary::define(wordnet, u"bank", std::nullopt);
    ASSERT_TRUE(bank);
    EXPECT_EQ(bank->partOfSpeech, QStringLiteral("noun"));
    EXPECT_EQ(bank->meaning,
              QStringLiteral("Sloping land (especially the slope beside a body of water)."));
    EXPECT_TRUE(bank->similar.isEmpty());
    for (const QString& written : {QStringLiteral("Bank's"), QStringLiteral("BANK"),
                                   QStringLiteral("“banks”,"), QStringLiteral("bank’s")}) {
        const std::optional<Definition> same = Dictionary::define(wordnet, written, std::nullopt);
        ASSERT_TRUE(same) << written.toStdString();
        EXPECT_EQ(same->offset, bank->offset) << written.toStdString();
    }

    // Other words of the sense, at most five, with blanks for underscores.
    const std::optional<Definition> died = Dictionary::define(wordnet, u"died", std::nullopt);
    ASSERT_TRUE(died);
    EXPECT_EQ(died->partOfSpeech, QStringLiteral("verb"));
    EXPECT_EQ(died->similar, (QStringList{"decease", "perish", "go", "exit", "pass away"}));

    const std::optional<Definition> iceCream =
        Dictionary::define(wordnet, u"Ice  Creams", std::nullopt);
    ASSERT_TRUE(iceCream);
    EXPECT_TRUE(iceCream->meaning.startsWith(QStringLiteral("Frozen dessert")));
    EXPECT_EQ(iceCream->similar, QStringList{"icecream"});

    for (const char16_t* absent : {u"qwertyuiop", u"Straße", u"…", u""})
        EXPECT_FALSE(Dictionary::define(wordnet, absent, u"A sentence about money."))
            << QString::fromUtf16(absent).toStdString();
}

} // namespace
