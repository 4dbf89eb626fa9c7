#include "visualiser/spectrum/spectrum.h"

#include "base/device_paths.h"
#include "zcommon.h"

#include <cmath>
#include <csetjmp>
#include <csignal>
#include <ctime>
#include <fcntl.h>
#include <sys/mman.h>
#include <sys/stat.h>
#include <unistd.h>

const int16_t* s_shm_wave = nullptr;
fftw_complex* s_in = nullptr;
fftw_complex* s_out = nullptr;
fftw_plan s_plan = nullptr;
double s_fft_value[128];
double s_fft_peak[128];
double s_freq_bin[49];
double s_gforce_table[105];
int s_gforce_count = 0;
std::atomic<unsigned char> sFFTThreadRunning{0};
pthread_t sFFTThread;
pthread_mutex_t sFFTLock = PTHREAD_MUTEX_INITIALIZER;

namespace {

constexpr int kTapReadBytes = kTapSamples * 2;
constexpr double kSampleScale = 3.0517578125e-05; // 2^-15
constexpr double kBinWidthHz = 23.4375;           // 48000 / 2048
constexpr double kPacingMs = 33.0;

// Bins of each band, found once from the band edges with the same comparisons the
// per-bin test would make; a band's bins are contiguous. first > last: no bin.
int s_bandFirstBin[kSpectrumBands];
int s_bandLastBin[kSpectrumBands];

// Magnitudes of one frame; only the analysis thread touches it.
double s_magnitude[kTapSamples / 2];

// SIGBUS guard for reads of the mapping: the service may cut the file short while it is
// mapped, and a plain read past its end would end the process.
// Volatile: the stores around the copy must not be merged or moved past it.
thread_local sigjmp_buf* volatile tl_tapJump = nullptr;
struct sigaction s_previousBusAction;
pthread_once_t s_busHandlerOnce = PTHREAD_ONCE_INIT;

void tapBusHandler(int signal, siginfo_t* info, void* context) {
    if (tl_tapJump)
        siglongjmp(*tl_tapJump, 1);
    // Not a tap read: hand the fault to whoever handled it before.
    if (s_previousBusAction.sa_flags & SA_SIGINFO) {
        if (s_previousBusAction.sa_sigaction) {
            s_previousBusAction.sa_sigaction(signal, info, context);
            return;
        }
    } else if (s_previousBusAction.sa_handler != SIG_DFL && s_previousBusAction.sa_handler != SIG_IGN) {
        s_previousBusAction.sa_handler(signal);
        return;
    }
    sigaction(SIGBUS, &s_previousBusAction, nullptr);
}

void installBusHandler() {
    pthread_once(&s_busHandlerOnce, [] {
        struct sigaction action = {};
        action.sa_sigaction = tapBusHandler;
        action.sa_flags = SA_SIGINFO | SA_NODEFER;
        sigemptyset(&action.sa_mask);
        sigaction(SIGBUS, &action, &s_previousBusAction);
    });
}

void fillLadder() {
    for (int k = 0; k < 52; ++k) {
        int n = 33 * (k + 1);
        s_gforce_table[k] = static_cast<double>(n * n) * 1.9591836734693877e-06;
        tprintf("s_gforce_table[%d]=%f\n", k, s_gforce_table[k]);
    }
    s_gforce_count = 52;
}

void fillBands() {
    for (int i = 0; i < kSpectrumBands; ++i)
        s_freq_bin[i] = 24.0 * i;
    s_freq_bin[48] = 24000.0;
    for (int b = 0; b < kSpectrumBands; ++b) {
        s_bandFirstBin[b] = kTapSamples / 2;
        s_bandLastBin[b] = -1;
        for (int i = 0; i < kTapSamples / 2; ++i) {
            double f = i * kBinWidthHz;
            if (s_freq_bin[b] < f && f <= s_freq_bin[b + 1]) {
                if (i < s_bandFirstBin[b])
                    s_bandFirstBin[b] = i;
                s_bandLastBin[b] = i;
            }
        }
    }
}

void releaseBuffers() {
    if (s_shm_wave) {
        munmap(const_cast<int16_t*>(s_shm_wave), kTapMapBytes);
        s_shm_wave = nullptr;
    }
    if (s_in) {
        fftw_free(s_in);
        s_in = nullptr;
    }
    if (s_out) {
        fftw_free(s_out);
        s_out = nullptr;
    }
}

const int16_t* mapTap() {
    int fd = open(MP_WAVE_TAP_FILE, O_RDONLY | O_CLOEXEC);
    if (fd < 0) {
        tprintf("can not open %s\n", MP_WAVE_TAP_FILE);
        return nullptr;
    }
    struct stat info;
    void* mapping = MAP_FAILED;
    // A tap shorter than the bytes read is not mappable: reading it would fault.
    if (fstat(fd, &info) == 0 && info.st_size >= kTapReadBytes)
        mapping = mmap(nullptr, kTapMapBytes, PROT_READ, MAP_SHARED, fd, 0);
    close(fd);
    if (mapping == MAP_FAILED) {
        tprintf("can not mmap %s\n", MP_WAVE_TAP_FILE);
        return nullptr;
    }
    return static_cast<const int16_t*>(mapping);
}

std::atomic<bool> s_prewarmed{false};

void* planAhead(void*) {
    fftw_complex* in = static_cast<fftw_complex*>(fftw_malloc(sizeof(fftw_complex) * kTapSamples));
    fftw_complex* out = static_cast<fftw_complex*>(fftw_malloc(sizeof(fftw_complex) * kTapSamples));
    if (in && out) {
        fftw_plan plan = fftw_plan_dft_1d(kTapSamples, in, out, FFTW_FORWARD, FFTW_MEASURE);
        if (plan)
            fftw_destroy_plan(plan);
    }
    fftw_free(in);
    fftw_free(out);
    s_prewarmed.store(true, std::memory_order_release);
    return nullptr;
}

pthread_once_t s_plannerOnce = PTHREAD_ONCE_INIT;

void makePlannerThreadSafe() {
    pthread_once(&s_plannerOnce, [] { fftw_make_planner_thread_safe(); });
}

} // namespace

int readTapSamples(int16_t* samples) {
    const int16_t* tap = s_shm_wave;
    if (!tap)
        return -1;
    installBusHandler();
    sigjmp_buf jump;
    if (sigsetjmp(jump, 1)) {
        tl_tapJump = nullptr;
        for (int i = 0; i < kTapSamples; ++i)
            samples[i] = 0;
        return -1;
    }
    tl_tapJump = &jump;
    const volatile int16_t* source = tap;
    for (int i = 0; i < kTapSamples; ++i)
        samples[i] = source[i];
    tl_tapJump = nullptr;
    return 0;
}

double spectrumPeakFall(double peak) {
    const int count = s_gforce_count;
    const double* table = s_gforce_table;
    if (count <= 1 || peak <= table[1])
        return table[0];
    int i = 2;
    while (i < count && peak > table[i])
        ++i;
    return table[i - 1];
}

double spectrumNewPeak(double value, double decayedPeak) {
    double boost;
    if (value - decayedPeak > 1.5)
        boost = value > 4.5 ? 1.0 : 0.7;
    else
        boost = value > 4.5 ? 0.3 : 0.0;
    return decayedPeak > value + boost ? decayedPeak : value + boost;
}

void spectrumResetTables() {
    for (int b = 0; b < kSpectrumBands; ++b) {
        s_fft_value[b] = kSpectrumFloor;
        s_fft_peak[b] = kSpectrumFloor;
    }
    fillBands();
    fillLadder();
}

void prewarmVisualizer() {
    makePlannerThreadSafe();
    pthread_t thread;
    if (pthread_create(&thread, nullptr, planAhead, nullptr) == 0)
        pthread_detach(thread);
}

bool visualizerPrewarmed() {
    return s_prewarmed.load(std::memory_order_acquire);
}

int initVisualizer(int unused) {
    (void)unused;
    makePlannerThreadSafe();
    s_shm_wave = mapTap();
    s_in = static_cast<fftw_complex*>(fftw_malloc(sizeof(fftw_complex) * kTapSamples));
    s_out = static_cast<fftw_complex*>(fftw_malloc(sizeof(fftw_complex) * kTapSamples));
    if (!s_shm_wave || !s_in || !s_out) {
        releaseBuffers();
        return -1;
    }
    // The plan is measured on the analysis thread before its first frame: FFTW_MEASURE
    // costs a tenth of a second or more without wisdom, and the window thread must not
    // wait for it.
    s_plan = nullptr;
    spectrumResetTables();
    sFFTThreadRunning.store(1, std::memory_order_release);
    if (pthread_create(&sFFTThread, nullptr, fft_thread, nullptr) != 0)
        sFFTThreadRunning.store(0, std::memory_order_release);
    return 0;
}

void stopVisualizer() {
    if (sFFTThreadRunning.load(std::memory_order_acquire)) {
        sFFTThreadRunning.store(0, std::memory_order_release);
        pthread_join(sFFTThread, nullptr);
    }
    releaseBuffers();
    if (s_plan) {
        fftw_destroy_plan(s_plan);
        s_plan = nullptr;
    }
}

void do_fft() {
    double band[kSpectrumBands];
    for (double& value : band)
        value = kSpectrumFloor;

    int16_t samples[kTapSamples];
    readTapSamples(samples);
    for (int n = 0; n < kTapSamples; ++n) {
        s_in[n][0] = samples[n] * kSampleScale;
        s_in[n][1] = 0.0;
    }
    fftw_execute(s_plan);

    // No division by the transform length; built without errno for sqrt, this loop
    // vectorises.
    for (int i = 0; i < kTapSamples / 2; ++i)
        s_magnitude[i] = std::sqrt(s_out[i][0] * s_out[i][0] + s_out[i][1] * s_out[i][1]);
    for (int b = 0; b < kSpectrumBands; ++b) {
        double largest = band[b];
        for (int i = s_bandFirstBin[b]; i <= s_bandLastBin[b]; ++i)
            largest = s_magnitude[i] > largest ? s_magnitude[i] : largest;
        band[b] = largest;
    }

    double decayed[kSpectrumBands];
    pthread_mutex_lock(&sFFTLock);
    for (int b = 0; b < kSpectrumBands; ++b) {
        s_fft_peak[b] = spectrumPeakFall(s_fft_peak[b]);
        decayed[b] = s_fft_peak[b];
    }
    pthread_mutex_unlock(&sFFTLock);

    double peak[kSpectrumBands];
    for (int b = 0; b < kSpectrumBands; ++b) {
        if (band[b] > 2.0)
            band[b] = std::log(band[b]);
        peak[b] = spectrumNewPeak(band[b], decayed[b]);
    }

    pthread_mutex_lock(&sFFTLock);
    for (int b = 0; b < kSpectrumBands; ++b) {
        s_fft_value[b] = band[b];
        s_fft_peak[b] = peak[b];
    }
    pthread_mutex_unlock(&sFFTLock);
}

void* fft_thread(void*) {
    if (!s_shm_wave)
        return nullptr;
    if (!s_plan)
        s_plan = fftw_plan_dft_1d(kTapSamples, s_in, s_out, FFTW_FORWARD, FFTW_MEASURE);
    if (!s_plan)
        return nullptr;
    while (sFFTThreadRunning.load(std::memory_order_acquire)) {
        clock_t t0 = clock();
        do_fft();
        clock_t t1 = clock();
        double elapsed = static_cast<double>(t1 - t0) * 1000.0 / 1000000.0;
        if (elapsed < kPacingMs)
            usleep(static_cast<unsigned>((kPacingMs - elapsed) * 1000.0));
    }
    return nullptr;
}
