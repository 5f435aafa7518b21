// test.exe: the speech recogniser behind the speech-to-text work. Reads a 16-bit mono
// 16 kHz WAV file, decodes it utterance by utterance with pocketsphinx and leaves one
// line of text per utterance in 1.txt beside the input.
//
//   test.exe --language LANG -m MODEL_FOLDER -otxt -nt -f FOLDER/1.wav

#include "ModelFolder.h"
#include "WavFormat.h"

#include <err.h>
#include <pocketsphinx.h>

#include <cstdio>
#include <filesystem>
#include <fstream>
#include <memory>
#include <string>
#include <unistd.h>
#include <vector>

namespace fs = std::filesystem;

namespace {

constexpr std::size_t kBlockSamples = 2048;
// A decoder's search tables grow with the utterance: speech that never pauses is cut
// here, so memory stays bounded whatever the length of the recording.
constexpr std::uint64_t kMaxUtteranceSamples = 16000 * 30;

struct Options
{
    std::string language, model, file;
    bool times = true;
};

int Fail(int code, const std::string& reason)
{
    std::fprintf(stderr, "test.exe: %s\n", reason.c_str());
    return code;
}

bool ParseArgs(int argc, char** argv, Options* o, std::string* error)
{
    for (int i = 1; i < argc; ++i) {
        const std::string a = argv[i];
        std::string* value = a == "--language" ? &o->language : a == "-m" ? &o->model : a == "-f" ? &o->file : nullptr;
        if (value) {
            if (i + 1 >= argc) {
                *error = a + " needs a value";
                return false;
            }
            *value = argv[++i];
        } else if (a == "-nt") {
            o->times = false;
        } else if (a != "-otxt") { // text is the only output there is
            *error = "unknown argument " + a;
            return false;
        }
    }
    if (o->model.empty() || o->file.empty()) {
        *error = "usage: test.exe [--language LANG] -m MODEL_FOLDER [-otxt] [-nt] -f INPUT.wav";
        return false;
    }
    return true;
}

std::string Seconds(std::uint64_t samples)
{
    char buf[32];
    std::snprintf(buf, sizeof buf, "%.2f", samples / 16000.0);
    return buf;
}

struct DecoderDeleter
{
    void operator()(ps_decoder_t* ps) const { ps_free(ps); }
};

// Feeds the samples in blocks and writes each finished utterance as one line.
class Transcriber
{
public:
    Transcriber(ps_decoder_t* ps, std::ostream& out, bool times) : m_ps(ps), m_out(out), m_times(times) {}

    void Start() { ps_start_utt(m_ps); }

    void Feed(const std::int16_t* samples, std::size_t n)
    {
        ps_process_raw(m_ps, samples, n, FALSE, FALSE);
        m_pos += n;
        const bool speech = ps_get_in_speech(m_ps) != 0;
        if (speech && !m_inSpeech) {
            m_inSpeech = true;
            m_uttStart = m_pos - n;
        }
        if ((!speech && m_inSpeech) || (m_inSpeech && m_pos - m_uttStart >= kMaxUtteranceSamples)) {
            Flush();
            ps_start_utt(m_ps);
        }
    }

    void Finish() { Flush(); }

private:
    void Flush()
    {
        ps_end_utt(m_ps);
        const char* hyp = ps_get_hyp(m_ps, nullptr);
        if (hyp && *hyp) {
            if (m_times)
                m_out << '[' << Seconds(m_uttStart) << " --> " << Seconds(m_pos) << "] ";
            m_out << hyp << '\n';
        }
        m_inSpeech = false;
        m_uttStart = m_pos;
    }

    ps_decoder_t* m_ps;
    std::ostream& m_out;
    bool m_times;
    bool m_inSpeech = false;
    std::uint64_t m_pos = 0;
    std::uint64_t m_uttStart = 0;
};

} // namespace

int main(int argc, char** argv)
{
    Options opt;
    std::string error;
    if (!ParseArgs(argc, argv, &opt, &error))
        return Fail(2, error);

    ModelFolder model;
    error = model.Resolve(opt.model);
    if (!error.empty())
        return Fail(2, error);
    if (!model.Serves(opt.language))
        std::fprintf(stderr, "test.exe: warning: the model %s serves \"%s\", not \"%s\"; recognising with it anyway\n",
                     opt.model.c_str(), model.language.c_str(), opt.language.c_str());

    std::error_code ec;
    const fs::path input(opt.file);
    if (!fs::is_regular_file(input, ec))
        return Fail(1, "no such file: " + opt.file);
    std::ifstream in(input, std::ios::binary);
    if (!in)
        return Fail(1, "cannot read " + opt.file);
    WavFormat wav;
    error = wav.Read(in, fs::file_size(input, ec));
    if (error.empty())
        error = wav.CheckSpeechLayout();
    if (!error.empty())
        return Fail(1, opt.file + ": " + error);

    err_set_logfp(nullptr); // the decoder's chatter would bury the one line that matters
    cmd_ln_t* config = cmd_ln_init(nullptr, ps_args(), TRUE, "-hmm", model.acoustic.c_str(), "-lm",
                                   model.languageModel.c_str(), "-dict", model.dictionary.c_str(), nullptr);
    if (!config)
        return Fail(3, "the model in " + opt.model + " cannot be configured");
    std::unique_ptr<ps_decoder_t, DecoderDeleter> ps(ps_init(config));
    cmd_ln_free_r(config); // the decoder holds its own reference
    if (!ps)
        return Fail(3, "the model in " + opt.model + " cannot be loaded");

    const fs::path folder = fs::absolute(input, ec).parent_path();
    const fs::path target = folder / "1.txt";
    const fs::path part = folder / ("1.txt.part" + std::to_string(::getpid()));
    std::ofstream out(part, std::ios::binary | std::ios::trunc);
    if (!out)
        return Fail(1, "cannot write " + part.string());

    Transcriber transcriber(ps.get(), out, opt.times);
    transcriber.Start();
    std::vector<unsigned char> bytes(kBlockSamples * 2);
    std::vector<std::int16_t> samples(kBlockSamples);
    for (std::uint64_t left = wav.dataBytes; left >= 2;) {
        const std::size_t want = static_cast<std::size_t>(std::min<std::uint64_t>(bytes.size(), left & ~1ull));
        in.read(reinterpret_cast<char*>(bytes.data()), static_cast<std::streamsize>(want));
        const std::size_t got = static_cast<std::size_t>(in.gcount()) / 2;
        if (got == 0)
            break;
        for (std::size_t i = 0; i < got; ++i)
            samples[i] = static_cast<std::int16_t>(bytes[2 * i] | (bytes[2 * i + 1] << 8));
        transcriber.Feed(samples.data(), got);
        left -= got * 2;
    }
    transcriber.Finish();
    out.close();
    if (!out) {
        fs::remove(part, ec);
        return Fail(1, "cannot write " + part.string());
    }
    fs::rename(part, target, ec);
    if (ec) {
        fs::remove(part, ec);
        return Fail(1, "cannot write " + target.string());
    }
    return 0;
}
