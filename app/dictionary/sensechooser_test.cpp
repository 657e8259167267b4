#include "dictionary/dictionary.h"

#include <gtest/gtest.h>
#include <iostream>

namespace {

struct Labelled {
    const char16_t* word;
    const char16_t* sentence;
    // The senses a reader would accept for the word in this sentence (synset offsets).
    std::vector<std::pair<PartOfSpeech, uint32_t>> senses;
};

constexpr PartOfSpeech N = PartOfSpeech::Noun;
constexpr PartOfSpeech V = PartOfSpeech::Verb;

// Sentences written first, then labelled by reading WordNet's senses of the word.
const Labelled kLabelled[] = {
    {u"bank", u"She deposited her paycheck at the bank before noon.", {{N, 8420278}, {N, 2787772}}},
    {u"bank", u"We had a picnic on the grassy bank of the river.", {{N, 9213565}}},
    {u"bass", u"He plays bass in a jazz band on weekends.", {{N, 2803349}}},
    {u"bass",
     u"They caught a large bass while fishing in the lake.",
     {{N, 2565573}, {N, 7777512}, {N, 7777945}}},
    {u"plant", u"Water the plant on the windowsill twice a week.", {{N, 17222}}},
    {u"plant", u"The car plant laid off two hundred workers.", {{N, 3956922}}},
    {u"spring", u"The flowers bloom in spring when the weather gets warmer.", {{N, 15237044}}},
    {u"spring", u"The mattress has a broken spring that pokes my back.", {{N, 4288272}}},
    {u"spring", u"They drank fresh water from a mountain spring.", {{N, 9443453}, {N, 8508361}}},
    {u"match", u"He struck a match to light the candle.", {{N, 3728437}, {N, 3728982}}},
    {u"match", u"Our team won the tennis match in three sets.", {{N, 7470671}}},
    {u"pitch", u"The singer could not reach the high pitch of the note.", {{N, 4985198}}},
    {u"pitch", u"The pitcher threw a fast pitch over the plate.", {{N, 106272}, {N, 106104}}},
    {u"cell", u"The prisoner spent ten years in a small cell.", {{N, 2991302}}},
    {u"cell", u"Each cell in the body contains a nucleus with DNA.", {{N, 6484}}},
    {u"cell", u"The battery cell produced a small electric current.", {{N, 2991048}}},
    {u"crane", u"A crane lifted the steel beams to the top of the building.", {{N, 3126707}}},
    {u"crane", u"The crane stood in the marsh on its long legs.", {{N, 2012849}}},
    {u"seal", u"The seal swam in the cold water and rested on the ice.", {{N, 2076196}}},
    {u"seal",
     u"The letter was closed with a wax seal bearing the king's emblem.",
     {{N, 4160036}, {N, 6855985}}},
    {u"bark", u"The dog began to bark at the stranger.", {{V, 1047763}}},
    {u"bark", u"The bark of the old oak tree was rough and thick.", {{N, 13162297}}},
    {u"bat", u"He swung the bat and hit the ball out of the park.", {{N, 2806379}}},
    {u"bat", u"A bat flew out of the cave at dusk.", {{N, 2139199}}},
    {u"mouse", u"Click the left button of the mouse to open the file.", {{N, 3793489}}},
    {u"key", u"She lost the key to the front door lock.", {{N, 3613294}}},
    {u"palm", u"He held the coin in the palm of his hand.", {{N, 5565696}}},
    {u"palm", u"Coconut palm trees lined the tropical beach.", {{N, 12582231}}},
    {u"interest", u"The bank charges interest on the loan every month.", {{N, 13318584}}},
    {u"star",
     u"The star of the movie won an award for her acting.",
     {{N, 10648696}, {N, 10163723}}},
};

bool picks(const std::optional<Definition>& definition, const Labelled& labelled)
{
    return definition &&
           std::find(labelled.senses.begin(), labelled.senses.end(),
                     std::pair(definition->pos, definition->offset)) != labelled.senses.end();
}

// The sentence's words pick the sense more often than the most frequent sense does. Single
// sentences may still go wrong: simplified Lesk only counts shared words.
TEST(SenseChooserTest, TheSentencePicksTheSenseMoreOftenThanTheFirstSenseDoes)
{
    const WordNet wordnet;
    int withSentence = 0;
    int firstSense = 0;
    for (const Labelled& labelled : kLabelled) {
        const bool lesk =
            picks(Dictionary::define(wordnet, labelled.word, labelled.sentence), labelled);
        const bool baseline =
            picks(Dictionary::define(wordnet, labelled.word, std::nullopt), labelled);
        withSentence += lesk;
        firstSense += baseline;
    }
    // The figures bench/README.md records.
    std::cout << "sense of the sentence " << withSentence << "/" << std::size(kLabelled)
              << ", first sense " << firstSense << "/" << std::size(kLabelled) << '\n';
    EXPECT_GT(withSentence, firstSense);
}

} // namespace
