// The Answer tab without a model: a dictionary answer from the query to the item, the choice of
// the sense over sentences of growing length, and the reader's resident memory.
#include "backends/appleintelligencebackend.h"
#include "dictionary/dictionary.h"

#include <QCoreApplication>
#include <QFile>
#include <QTcpServer>
#include <QTemporaryDir>
#include <benchmark/benchmark.h>
#include <random>

namespace {

struct Query {
    const char* name;
    const char16_t* term;
    const char16_t* sentence;
};

// Words with few and with the most senses in WordNet ("run": 57, "set": 45, "break": 75).
const Query kQueries[] = {
    {"spring", u"spring", u"They drank fresh water from a mountain spring."},
    {"interest", u"interest", u"The bank charges interest on the loan every month."},
    {"bank_no_sentence", u"bank", nullptr},
    {"run", u"running", u"She has been running the family bakery since her father retired."},
    {"set", u"set", u"He set the table for dinner before the guests arrived."},
    {"break", u"broke", u"The glass broke into pieces when it hit the floor."},
};

// What a lookup does per query: open (map) the files, find the base forms, choose the sense.
void answer(benchmark::State& state, const Query& query)
{
    const QString term = QString::fromUtf16(query.term);
    const std::optional<QString> sentence =
        query.sentence ? std::optional(QString::fromUtf16(query.sentence)) : std::nullopt;
    for (auto _ : state) {
        const WordNet wordnet;
        std::optional<Definition> definition = Dictionary::define(
            wordnet, term, sentence ? std::optional<QStringView>(*sentence) : std::nullopt);
        benchmark::DoNotOptimize(definition);
    }
}

// A sentence of n words with the word in the middle: half drawn from everyday English, half
// made-up words of 4 to 9 letters, so that most words are distinct (each distinct word is
// reduced to its base forms once, the cost that grows with the sentence).
QString longSentence(int words)
{
    static const QStringList vocabulary =
        QStringLiteral(
            "river water money loan account deposit the of and a to in walked grassy field "
            "slope tree boat fishing canoe building paid month teller savings cheque current "
            "flood shore mud picnic clerk branch office manager interest credit bridge stone")
            .split(u' ');
    std::mt19937 random(7);
    std::uniform_int_distribution<qsizetype> pick(0, vocabulary.size() - 1);
    std::uniform_int_distribution<int> length(4, 9);
    std::uniform_int_distribution<int> letter('a', 'z');
    QStringList sentence;
    for (int i = 0; i < words; ++i) {
        if (i == words / 2) {
            sentence.append(QStringLiteral("bank"));
        } else if (i % 2 == 0) {
            sentence.append(vocabulary[pick(random)]);
        } else {
            QString made;
            for (int n = length(random); n > 0; --n)
                made.append(QChar(letter(random)));
            sentence.append(made);
        }
    }
    return sentence.join(u' ') + QLatin1Char('.');
}

void senseOverLongSentences(benchmark::State& state)
{
    const WordNet wordnet;
    const QString sentence = longSentence(int(state.range(0)));
    for (auto _ : state)
        benchmark::DoNotOptimize(Dictionary::define(wordnet, u"bank", sentence));
    state.SetComplexityN(state.range(0));
}
BENCHMARK(senseOverLongSentences)
    ->RangeMultiplier(10)
    ->Range(10, 10'000)
    ->Complexity(benchmark::oN);

// The Answer source end to end with nothing listening at the model server's address: the
// availability check is refused, and the item comes from the dictionary.
void answerTabWithoutServer(benchmark::State& state)
{
    QTemporaryDir dir;
    Preferences preferences(dir.filePath(QStringLiteral("peekwell.conf")));
    QTcpServer probe;
    probe.listen(QHostAddress::LocalHost, 0);
    const quint16 port = probe.serverPort();
    probe.close();
    preferences.setValue(QStringLiteral("localModel.baseURL"),
                         QStringLiteral("http://127.0.0.1:%1/v1").arg(port));
    preferences.setValue(QStringLiteral("localModel.name"), QStringLiteral("llama3.2"));
    const AppleIntelligenceBackend backend(BackendInfo{QStringLiteral("apple"),
                                                       QStringLiteral("Answer"),
                                                       QStringLiteral("sparkles"), 20},
                                           preferences);
    const LookupQuery query{QStringLiteral("interest"),
                            QStringLiteral("The bank charges interest on the loan every month."),
                            std::nullopt};
    for (auto _ : state) {
        const QList<LookupItems> lists = backend.lookup(query).waitForAll();
        if (lists.size() != 1)
            state.SkipWithError("no dictionary item");
    }
}
BENCHMARK(answerTabWithoutServer)->Unit(benchmark::kMillisecond);

// Resident memory, from /proc/self/status, in MB.
double residentMB(const char* field)
{
    QFile status(QStringLiteral("/proc/self/status"));
    if (!status.open(QIODevice::ReadOnly))
        return 0;
    for (const QByteArray& line : status.readAll().split('\n')) {
        if (line.startsWith(field))
            return line.mid(qsizetype(strlen(field))).trimmed().split(' ').value(0).toDouble() /
                   1024;
    }
    return 0;
}

// Every lemma of the four index files, read without the reader.
QStringList allLemmas()
{
    QStringList lemmas;
    for (const char* name : {"noun", "verb", "adj", "adv"}) {
        QFile index(WordNet::defaultDirectory() + QStringLiteral("/index.") + QLatin1String(name));
        if (!index.open(QIODevice::ReadOnly))
            return {};
        while (!index.atEnd()) {
            const QByteArray line = index.readLine();
            if (!line.startsWith("  "))
                lemmas.append(QString::fromLatin1(line.left(line.indexOf(' '))));
        }
    }
    return lemmas;
}

// Memory the reader adds while one WordNet stays open for a number of look-ups of lemmas
// spread evenly over the index files (with a sentence each, so the sense choice reads glosses).
// A lookup of the program opens its own and closes it at the end; keeping one open shows the
// most the mapped pages can come to. They are clean pages of the page cache, shared and
// reclaimable, and count as resident once touched.
void readerMemory(benchmark::State& state)
{
    const QStringList lemmas = allLemmas();
    const qsizetype count = std::min<qsizetype>(state.range(0), lemmas.size());
    const QString sentence = QStringLiteral("The bank charges interest on the loan every month.");
    for (auto _ : state) {
        const double before = residentMB("VmRSS:");
        const double anonymousBefore = residentMB("RssAnon:");
        const WordNet wordnet;
        int defined = 0;
        for (qsizetype i = 0; i < count; ++i)
            defined += Dictionary::define(wordnet, lemmas[i * lemmas.size() / count], sentence)
                           .has_value();
        state.counters["defined"] = defined;
        state.counters["rss_added_MB"] = residentMB("VmRSS:") - before;
        state.counters["anonymous_added_MB"] = residentMB("RssAnon:") - anonymousBefore;
    }
}
BENCHMARK(readerMemory)
    ->Arg(1)
    ->Arg(100)
    ->Arg(10'000)
    ->Arg(1'000'000)
    ->Iterations(1)
    ->Unit(benchmark::kMillisecond);

} // namespace

int main(int argc, char** argv)
{
    QCoreApplication app(argc, argv);
    for (const Query& query : kQueries)
        benchmark::RegisterBenchmark((std::string("answer/") + query.name).c_str(), answer, query)
            ->Unit(benchmark::kMicrosecond);
    benchmark::Initialize(&argc, argv);
    benchmark::RunSpecifiedBenchmarks();
    benchmark::Shutdown();
    return 0;
}
