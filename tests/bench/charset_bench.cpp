// The code-page conversions on 1 MiB of mixed text (Chinese of the common
// GBK block with runs of ASCII between), against glibc's iconv on the same
// buffer in the same run: GBK to UTF-8 (str2utf8) and back (utf82str).
//
//     charset_bench [--count WHICH N]   (N conversions alone, for callgrind;
//                                        WHICH: to-utf8, from-utf8,
//                                        iconv-to-utf8, iconv-from-utf8)

#include "platform/charset.h"

#include <benchmark/benchmark.h>

#include <iconv.h>

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <random>
#include <string>

namespace {

const size_t kTextBytes = 1 << 20;

// GBK text: words of one to six characters of the GB 2312 first level
// (0xB0A1-0xD7F9), separated by ASCII runs of one to twelve letters, digits
// and spaces; about two thirds of the bytes are Chinese.
const std::string& gbkText()
{
    static const std::string text = [] {
        std::mt19937 rng(1);
        std::uniform_int_distribution<int> lead(0xB0, 0xD6);
        std::uniform_int_distribution<int> trail(0xA1, 0xFE);
        std::uniform_int_distribution<int> word(1, 6);
        std::uniform_int_distribution<int> run(1, 12);
        const char ascii[] = "abcdefghijklmnopqrstuvwxyz0123456789 ";
        std::uniform_int_distribution<size_t> letter(0, sizeof ascii - 2);
        std::string s;
        while (s.size() < kTextBytes) {
            for (int w = word(rng); w > 0; --w) {
                s += static_cast<char>(lead(rng));
                s += static_cast<char>(trail(rng));
            }
            for (int r = run(rng); r > 0; --r)
                s += ascii[letter(rng)];
        }
        while (s.size() > kTextBytes) {
            s.pop_back();
            if (static_cast<unsigned char>(s.back()) >= 0x80)
                s.back() = 'x'; // never end on a lead byte
        }
        return s;
    }();
    return text;
}

const std::string& utf8Text()
{
    static const std::string text = [] {
        int length = static_cast<int>(gbkText().size());
        char* out = str2utf8(gbkText().c_str(), &length, CHARSET_GBK);
        std::string s(out, static_cast<size_t>(length));
        std::free(out);
        return s;
    }();
    return text;
}

struct Iconv {
    iconv_t cd;
    std::string out;

    Iconv(const char* to, const char* from)
        : cd(iconv_open(to, from))
        , out(3 * kTextBytes, '\0')
    {
        if (cd == reinterpret_cast<iconv_t>(-1)) {
            std::perror("iconv_open");
            std::exit(1);
        }
    }
    ~Iconv() { iconv_close(cd); }

    // Converts all of in; the number of bytes written.
    size_t convert(const std::string& in)
    {
        iconv(cd, nullptr, nullptr, nullptr, nullptr);
        char* src = const_cast<char*>(in.data());
        size_t srcLeft = in.size();
        char* dst = &out[0];
        size_t dstLeft = out.size();
        if (iconv(cd, &src, &srcLeft, &dst, &dstLeft) == static_cast<size_t>(-1) || srcLeft != 0) {
            std::perror("iconv");
            std::exit(1);
        }
        return out.size() - dstLeft;
    }
};

__attribute__((noinline)) size_t toUtf8Loop(int count)
{
    size_t total = 0;
    for (int i = 0; i < count; ++i) {
        int length = static_cast<int>(gbkText().size());
        char* out = str2utf8(gbkText().c_str(), &length, CHARSET_GBK);
        benchmark::DoNotOptimize(out);
        std::free(out);
        total += static_cast<size_t>(length);
    }
    return total;
}

__attribute__((noinline)) size_t fromUtf8Loop(int count)
{
    size_t total = 0;
    for (int i = 0; i < count; ++i) {
        char* out = utf82str(utf8Text().c_str(), CHARSET_GBK);
        benchmark::DoNotOptimize(out);
        total += std::strlen(out);
        std::free(out);
    }
    return total;
}

__attribute__((noinline)) size_t iconvLoop(Iconv& cv, const std::string& in, int count)
{
    size_t total = 0;
    for (int i = 0; i < count; ++i) {
        total += cv.convert(in);
        benchmark::DoNotOptimize(cv.out.data());
    }
    return total;
}

void BM_GbkToUtf8(benchmark::State& state)
{
    for (auto _ : state)
        benchmark::DoNotOptimize(toUtf8Loop(1));
    state.SetBytesProcessed(state.iterations() * static_cast<int64_t>(kTextBytes));
}
BENCHMARK(BM_GbkToUtf8)->Unit(benchmark::kMicrosecond);

void BM_GbkToUtf8Iconv(benchmark::State& state)
{
    Iconv cv("UTF-8", "GBK");
    for (auto _ : state)
        benchmark::DoNotOptimize(iconvLoop(cv, gbkText(), 1));
    state.SetBytesProcessed(state.iterations() * static_cast<int64_t>(kTextBytes));
}
BENCHMARK(BM_GbkToUtf8Iconv)->Unit(benchmark::kMicrosecond);

void BM_Utf8ToGbk(benchmark::State& state)
{
    for (auto _ : state)
        benchmark::DoNotOptimize(fromUtf8Loop(1));
    state.SetBytesProcessed(state.iterations() * static_cast<int64_t>(utf8Text().size()));
}
BENCHMARK(BM_Utf8ToGbk)->Unit(benchmark::kMicrosecond);

void BM_Utf8ToGbkIconv(benchmark::State& state)
{
    Iconv cv("GBK", "UTF-8");
    for (auto _ : state)
        benchmark::DoNotOptimize(iconvLoop(cv, utf8Text(), 1));
    state.SetBytesProcessed(state.iterations() * static_cast<int64_t>(utf8Text().size()));
}
BENCHMARK(BM_Utf8ToGbkIconv)->Unit(benchmark::kMicrosecond);

} // namespace

int main(int argc, char** argv)
{
    // Both directions give iconv's bytes: the text holds only characters
    // both convert the same way.
    {
        Iconv to("UTF-8", "GBK");
        const size_t n = to.convert(gbkText());
        Iconv from("GBK", "UTF-8");
        const size_t m = from.convert(utf8Text());
        char* ours = utf82str(utf8Text().c_str(), CHARSET_GBK);
        const bool same = to.out.compare(0, n, utf8Text()) == 0 && from.out.compare(0, m, gbkText()) == 0
            && gbkText() == ours;
        std::free(ours);
        if (!same) {
            std::fprintf(stderr, "charset_bench: the conversions differ from iconv's\n");
            return 1;
        }
    }
    if (argc == 4 && std::strcmp(argv[1], "--count") == 0) {
        const std::string which = argv[2];
        const int n = std::atoi(argv[3]);
        if (which == "to-utf8")
            return toUtf8Loop(n) == 0;
        if (which == "from-utf8")
            return fromUtf8Loop(n) == 0;
        if (which == "iconv-to-utf8") {
            Iconv cv("UTF-8", "GBK");
            return iconvLoop(cv, gbkText(), n) == 0;
        }
        if (which == "iconv-from-utf8") {
            Iconv cv("GBK", "UTF-8");
            return iconvLoop(cv, utf8Text(), n) == 0;
        }
        return 2;
    }
    benchmark::Initialize(&argc, argv);
    benchmark::RunSpecifiedBenchmarks();
    benchmark::Shutdown();
    return 0;
}
