#include "ProfileCore.h"

#include "Contract_p.h"
#include "ProfileCore_p.h"
#include "ToolSupport_p.h"

#include <opencv2/core/hal/intrin.hpp>
#include <opencv2/imgproc.hpp>

#include <cmath>
#include <cstdint>
#include <limits>
#include <type_traits>

using profile_core::kMaxKernelHalf;

namespace {

// All kernels in one block: kernel k has 2k+1 taps and starts at k*k, the number of taps
// of the kernels before it.
class GaussianKernelTable {
public:
    GaussianKernelTable() : taps_((kMaxKernelHalf + 1) * (kMaxKernelHalf + 1))
    {
        taps_[0] = 1.0f;
        for (int k = 1; k <= kMaxKernelHalf; ++k) {
            float* kernel = &taps_[k * k];
            const int n = 2 * k + 1;
            const double sigma = 0.3 * (k - 1) + 0.8;
            // Taps are stored as float before normalising, and the sum is of the unrounded
            // weights: both roundings are part of the published table values.
            double sum = 0.0;
            for (int j = 0; j < n; ++j) {
                const double x = j - (n - 1) * 0.5;
                const double w = std::exp(-0.5 * x * x / (sigma * sigma));
                kernel[j] = static_cast<float>(w);
                sum += w;
            }
            const double scale = 1.0 / sum;
            for (int j = 0; j < n; ++j)
                kernel[j] = static_cast<float>(kernel[j] * scale);
        }
    }

    const float* kernel(int k) const { return &taps_[k * k]; }

private:
    std::vector<float> taps_;
};

} // namespace

const float* getOneDimGaussianKernel(int k)
{
    if (k < 0 || k > kMaxKernelHalf)
        return nullptr;
    // A function-local static is initialised exactly once even when the first calls race.
    static const GaussianKernelTable table;
    return table.kernel(k);
}

void cutOneDimGaussianKernel(const float* src, int srcHalf, float* dst, int dstHalf)
{
    if (!src || !dst || dstHalf < 0 || dstHalf >= srcHalf)
        return;
    const float* centre = src + (srcHalf - dstHalf);
    const int n = 2 * dstHalf + 1;
    double sum = 0.0;
    for (int j = 0; j < n; ++j)
        sum += centre[j];
    if (sum == 0.0)
        return;
    const double scale = 1.0 / sum;
    for (int j = 0; j < n; ++j)
        dst[j] = static_cast<float>(centre[j] * scale);
}

namespace {

// Fills the half samples on either side of the profile held at padded[half .. half+n):
// wrapped round when circular, the end samples repeated otherwise. Needs n > half, so
// both only ever read samples of the profile itself.
void padProfile(float* padded, int n, int half, bool circular)
{
    FUNCTIONS_ASSERT(half >= 0 && n > half);
    const float* data = padded + half;
    for (int k = 0; k < half; ++k) {
        padded[k] = circular ? data[n - half + k] : data[0];
        padded[half + n + k] = circular ? data[k] : data[n - 1];
    }
}

// A kernel's taps, each also spread over a vector for the convolution.
struct SmoothingKernel {
    const float* taps;
    int half;
#if CV_SIMD128
    cv::v_float32x4 spread[2 * kMaxKernelHalf + 1];
#endif

    SmoothingKernel(const float* kernel, int halfWidth) : taps(kernel), half(halfWidth)
    {
#if CV_SIMD128
        for (int j = 0; j <= 2 * half; ++j)
            spread[j] = cv::v_setall_f32(taps[j]);
#endif
    }
};

#if CV_SIMD128
// out[i .. i + 4*Vectors), accumulated tap by tap in one register per four samples.
template <int Vectors>
void convolveAt(const float* padded, const SmoothingKernel& kernel, int i, float* out)
{
    cv::v_float32x4 sums[Vectors];
    for (int v = 0; v < Vectors; ++v)
        sums[v] = cv::v_load(padded + i + 4 * v) * kernel.spread[0];
    for (int j = 1; j <= 2 * kernel.half; ++j)
        for (int v = 0; v < Vectors; ++v)
            sums[v] = sums[v] + cv::v_load(padded + i + j + 4 * v) * kernel.spread[j];
    for (int v = 0; v < Vectors; ++v)
        cv::v_store(out + i + 4 * v, sums[v]);
}
#endif

// out[i] = sum over taps j of padded[i + j] * kernel[j], summed in single precision in
// increasing j. Sixteen samples at a time (eight in short profiles) are accumulated in
// vector registers: every lane keeps that summation order, and separate multiply and add
// (never a fused multiply-add) keep every rounding of the plain loop. The last block
// overlaps the ones before rather than leaving a tail: it is computed again, alike.
void convolvePadded(const float* padded, int n, const SmoothingKernel& kernel, float* out)
{
#if CV_SIMD128
    if (n >= 16) {
        int i = 0;
        for (; i + 16 <= n; i += 16)
            convolveAt<4>(padded, kernel, i, out);
        if (i < n)
            convolveAt<4>(padded, kernel, n - 16, out);
        return;
    }
    if (n >= 8) {
        convolveAt<2>(padded, kernel, 0, out);
        convolveAt<2>(padded, kernel, n - 8, out);
        return;
    }
#endif
    for (int i = 0; i < n; ++i) {
        float sum = padded[i] * kernel.taps[0];
        for (int j = 1; j <= 2 * kernel.half; ++j)
            sum += padded[i + j] * kernel.taps[j];
        out[i] = sum;
    }
}

} // namespace

void oneDimArrayGaussianFilter(float* data, int n, const float* kernel, int half, bool circular)
{
    if (!data || !kernel || n < 1 || half < 0 || n < half + 1)
        return;
    std::vector<float> padded(static_cast<size_t>(n) + 2 * static_cast<size_t>(half));
    std::copy(data, data + n, padded.begin() + half);
    padProfile(padded.data(), n, half, circular);
    convolvePadded(padded.data(), n, SmoothingKernel(kernel, half), data);
}

void clcOneDimDeriv(float* src, float* dst, int n, bool circular)
{
    if (n <= 0 || !src || !dst)
        return;
    if (n == 1) {
        dst[0] = 0.0f;
        return;
    }
    for (int i = 1; i < n - 1; ++i)
        dst[i] = src[i + 1] - src[i - 1];
    if (circular) {
        dst[0] = src[1] - src[n - 1];
        dst[n - 1] = src[0] - src[n - 2];
    } else {
        dst[0] = src[1] - src[0];
        dst[n - 1] = src[n - 1] - src[n - 2];
    }
}

namespace {

// Edge strength of a difference already oriented along the scan (positive: brighter
// further on), for the polarity Transition.
template <int Transition>
float strengthOf(float x)
{
    if (Transition == LightToDark)
        return x < 0.0f ? -x : 0.0f;
    if (Transition == DarkToLight)
        return x < 0.0f ? 0.0f : x;
    return std::fabs(x);
}

// Calls f with the polarity as a compile-time constant, so that each loop is branch-free
// and vectorises; values outside the enumeration act as BothTransitions.
template <typename F>
void withTransition(EdgeTransition t, F&& f)
{
    if (t == LightToDark)
        f(std::integral_constant<int, LightToDark>());
    else if (t == DarkToLight)
        f(std::integral_constant<int, DarkToLight>());
    else
        f(std::integral_constant<int, BothTransitions>());
}

#if CV_SIMD128
template <int Transition>
cv::v_float32x4 strengthOf(const cv::v_float32x4& x)
{
    const cv::v_float32x4 zero = cv::v_setzero_f32();
    if (Transition == LightToDark)
        return cv::v_select(x < zero, zero - x, zero); // 0 - x negates exactly where x < 0
    if (Transition == DarkToLight)
        return cv::v_select(x < zero, zero, x);
    return cv::v_abs(x);
}
#endif

// The larger of top and x; NaN never wins. As a maximum does not depend on the order its
// values are met in, lanes may keep their own.
float keepLarger(float top, float x) { return x > top ? x : top; }

// The non-circular derivative of src turned into edge strength in one pass: the same
// values as clcOneDimDeriv followed by clcOneDimDerivDir. sign is -1 for a reverse scan
// (multiplying by -1 negates exactly). Returns the largest strength, never below 0, which
// the extraction would otherwise look for in a pass of its own. src holds smoothed
// averages of bytes, never NaN, so the vector maximum (shorter to wait for than a
// select) gives what keepLarger would.
template <int Transition>
float derivativeStrength(const float* src, float* dst, int n, float sign)
{
    if (n == 1) {
        dst[0] = strengthOf<Transition>(0.0f * sign);
        return keepLarger(0.0f, dst[0]);
    }
    dst[0] = strengthOf<Transition>((src[1] - src[0]) * sign);
    dst[n - 1] = strengthOf<Transition>((src[n - 1] - src[n - 2]) * sign);
    float top = keepLarger(keepLarger(0.0f, dst[0]), dst[n - 1]);
    // Interior samples 1 .. n-2; as in the smoothing, the last four overlap the ones before.
    const int last = n - 2;
#if CV_SIMD128
    if (last >= 4) {
        const cv::v_float32x4 factor = cv::v_setall_f32(sign);
        cv::v_float32x4 tops = cv::v_setzero_f32();
        const auto four = [&](int i) {
            const cv::v_float32x4 d =
                strengthOf<Transition>((cv::v_load(src + i + 1) - cv::v_load(src + i - 1)) * factor);
            cv::v_store(dst + i, d);
            tops = cv::v_max(d, tops);
        };
        int i = 1;
        for (; i + 3 <= last; i += 4)
            four(i);
        if (i <= last)
            four(last - 3);
        float lanes[4];
        cv::v_store(lanes, tops);
        for (float lane : lanes)
            top = keepLarger(top, lane);
        return top;
    }
#endif
    for (int i = 1; i <= last; ++i) {
        dst[i] = strengthOf<Transition>((src[i + 1] - src[i - 1]) * sign);
        top = keepLarger(top, dst[i]);
    }
    return top;
}

float derivativeStrength(const float* src, float* dst, int n, float sign, EdgeTransition t)
{
    float top = 0.0f;
    withTransition(t, [&](auto transition) { top = derivativeStrength<decltype(transition)::value>(src, dst, n, sign); });
    return top;
}

} // namespace

void clcOneDimDerivDir(float* d, int n, ClcDirection dir, EdgeTransition t)
{
    if (n < 1 || !d)
        return;
    // Only RightToLeft negates; TopToBottom and BottomToTop are not scan senses here.
    const float sign = dir == RightToLeft ? -1.0f : 1.0f;
    withTransition(t, [&](auto transition) {
        for (int i = 0; i < n; ++i)
            d[i] = strengthOf<decltype(transition)::value>(d[i] * sign);
    });
}

namespace {

// Largest value, never below 0; NaN never wins (a comparison with NaN is false). A
// maximum does not depend on the order its values are met in, so the vector lanes give
// the result of a plain scan.
float largestNonNegative(const float* v, int n)
{
    float top = 0.0f;
    int i = 0;
#if CV_SIMD128
    cv::v_float32x4 low = cv::v_setzero_f32(), high = cv::v_setzero_f32();
    for (; i + 8 <= n; i += 8) {
        const cv::v_float32x4 a = cv::v_load(v + i), b = cv::v_load(v + i + 4);
        low = cv::v_select(a > low, a, low);
        high = cv::v_select(b > high, b, high);
    }
    float lanes[8];
    cv::v_store(lanes, low);
    cv::v_store(lanes + 4, high);
    for (float lane : lanes)
        top = keepLarger(top, lane);
#endif
    for (; i < n; ++i)
        top = keepLarger(top, v[i]);
    return top;
}

// Bit k set when v[k] >= thr (never for NaN), for k < count <= 64. Four samples at a
// time, the last four overlapping the ones before.
uint64_t atOrAboveMask(const float* v, int count, float thr)
{
    FUNCTIONS_ASSERT(count > 0 && count <= 64);
    uint64_t mask = 0;
#if CV_SIMD128
    if (count >= 4) {
        const cv::v_float32x4 threshold = cv::v_setall_f32(thr);
        const auto four = [&](int k) {
            mask |= static_cast<uint64_t>(cv::v_signmask(cv::v_load(v + k) >= threshold)) << k;
        };
        int k = 0;
        for (; k + 4 <= count; k += 4)
            four(k);
        if (k < count)
            four(count - 4);
        return mask;
    }
#endif
    for (int k = 0; k < count; ++k)
        if (v[k] >= thr)
            mask |= uint64_t(1) << k;
    return mask;
}

// bits must not be 0: there is no such bit (and the builtins are undefined for 0).
int lowestSetBit(uint64_t bits)
{
    FUNCTIONS_ASSERT(bits != 0);
#if defined(__GNUC__)
    return __builtin_ctzll(bits);
#else
    int k = 0;
    while (!((bits >> k) & 1))
        ++k;
    return k;
#endif
}

int highestSetBit(uint64_t bits)
{
    FUNCTIONS_ASSERT(bits != 0);
#if defined(__GNUC__)
    return 63 - __builtin_clzll(bits);
#else
    int k = 63;
    while (!((bits >> k) & 1))
        --k;
    return k;
#endif
}

// Centre of a flat top between two indices: the integer sum through float, halved.
double plateauCentre(int a, int b)
{
    return static_cast<float>(static_cast<int64_t>(a) + b) * 0.5f;
}

// Solves y = a*x^2 + b*x + c through three points; false for degenerate abscissas.
bool solveParabola(const cv::Point_<double>& p0, const cv::Point_<double>& p1, const cv::Point_<double>& p2,
                   double& a, double& b, double& c)
{
    const double d1 = p0.x * p0.x - p1.x * p1.x;
    const double d2 = p1.x * p1.x - p2.x * p2.x;
    const double det = (p0.x - p1.x) * d2 - (p1.x - p2.x) * d1;
    if (det == 0.0 || d1 == 0.0)
        return false;
    b = ((p0.y - p1.y) * d2 - (p1.y - p2.y) * d1) / det;
    a = ((p0.y - p1.y) - (p0.x - p1.x) * b) / d1;
    c = p0.y - a * p0.x * p0.x - b * p0.x;
    return true;
}

// Abscissa of the vertex of the parabola through three points, 0 when there is none.
double parabolaVertex(const cv::Point_<double>& p0, const cv::Point_<double>& p1, const cv::Point_<double>& p2)
{
    double a, b, c;
    if (!solveParabola(p0, p1, p2, a, b, c) || a == 0.0)
        return 0.0;
    return -b / (2.0 * a);
}

// Sub-pixel position of the peak at sample i of the n samples at v.
float peakPosition(const float* v, int n, int i)
{
    if (i <= 0 || i >= n - 1)
        return static_cast<float>(i);
    const float vertex = static_cast<float>(
        parabolaVertex({i - 1.0, v[i - 1]}, {static_cast<double>(i), v[i]}, {i + 1.0, v[i + 1]}));
    return std::isnan(vertex) ? static_cast<float>(i) : vertex;
}

// The extraction once the strongest response `top` of the n > 1 samples is known;
// fraction is percent / 100 (in float, as the threshold is defined). Each
// edge goes to sink.found(i, plateauStart, peak): sample i is an edge, either a peak
// (whose position the parabola through it refines) or the last sample of the scan (taken
// as it is), unless it closes a flat top begun at plateauStart >= 0, whose centre it then
// is. The extraction stops when found returns true.
// Samples below the threshold change nothing, so only those at or above it are visited,
// in scan order, found as the set bits of masks of 64 samples.
template <typename Sink>
void extractEdges(const float* v, int n, bool forward, float top, float fraction, float minStrength, int maxCount,
                  Sink& sink)
{
    FUNCTIONS_ASSERT(n > 1);
    if (minStrength > top)
        return;
    const float relative = fraction * top;
    const float thr = relative > minStrength ? relative : minStrength;
    // More positions than samples cannot come, so a huge maxCount reserves no more.
    sink.reserve(static_cast<size_t>(std::min(maxCount, n)));

    // "ahead" is the next sample in scan order, "behind" the previous one; the last
    // sample of the scan has no look-ahead and gets no parabola.
    const int stride = forward ? 1 : -1;
    const int first = forward ? 0 : n - 1;
    const int last = forward ? n - 1 : 0;
    bool rising = true;
    int plateauStart = -1;
    // Visits sample i; true once the sink wants no more.
    const auto visit = [&](int i) {
        if (i != first) {
            const float slope = v[i] - v[i - stride];
            if (slope > 0.0f)
                rising = true;
            else if (slope < 0.0f)
                rising = false;
        }
        if (!rising)
            return false;
        if (i != last) {
            const float ahead = v[i + stride];
            if (ahead > v[i]) {
                plateauStart = -1;
                return false;
            }
            if (ahead == v[i]) {
                if (plateauStart < 0)
                    plateauStart = i;
                return false;
            }
            if (!(v[i] > ahead))
                return false;
        }
        const int plateau = plateauStart;
        plateauStart = -1;
        return sink.found(i, plateau, i != last);
    };

    const int words = (n + 63) / 64;
    for (int w = 0; w < words; ++w) {
        const int low = (forward ? w : words - 1 - w) * 64;
        uint64_t bits = atOrAboveMask(v + low, std::min(64, n - low), thr);
        while (bits) {
            const int k = forward ? lowestSetBit(bits) : highestSetBit(bits);
            bits &= ~(uint64_t(1) << k);
            if (visit(low + k))
                return;
        }
    }
}

// Positions appended to a list, which counts what the caller put there too.
struct PositionList {
    std::vector<double>& positions;
    const float* v;
    int n;
    size_t maxCount;

    void reserve(size_t wanted)
    {
        if (positions.capacity() < wanted)
            positions.reserve(wanted);
    }
    bool found(int i, int plateauStart, bool peak)
    {
        positions.push_back(plateauStart >= 0 ? plateauCentre(i, plateauStart)
                            : peak            ? peakPosition(v, n, i)
                                              : static_cast<double>(i));
        return positions.size() >= maxCount;
    }
};

} // namespace

void oneDimEdgeExtraction(float* strength, int n, ClcDirection dir, float percent, float minStrength, int maxCount,
                          std::vector<double>& positions)
{
    if (n < 2 || maxCount < 1 || !strength)
        return;
    PositionList list{positions, strength, n, static_cast<size_t>(maxCount)};
    extractEdges(strength, n, dir == LeftToRight, largestNonNegative(strength, n), percent / 100.0f, minStrength, maxCount,
                 list);
}

float oneDimEdgeParabolaExtremum(const float* strength, int n, int i)
{
    return strength ? peakPosition(strength, n, i) : static_cast<float>(i);
}

void threePointParabola(cv::Point_<double> p0, cv::Point_<double> p1, cv::Point_<double> p2, double& a, double& b,
                        double& c)
{
    double sa, sb, sc;
    if (solveParabola(p0, p1, p2, sa, sb, sc)) {
        a = sa;
        b = sb;
        c = sc;
    }
}

double threePointParabolaExtremum(cv::Point_<double> p0, cv::Point_<double> p1, cv::Point_<double> p2)
{
    return parabolaVertex(p0, p1, p2);
}

double parabolaExtremum(double a, double b)
{
    return a == 0.0 ? 0.0 : -b / (a + a);
}

int findMinMaxPos(std::vector<double>& values, bool findMin)
{
    if (values.empty())
        return -1;
    double lowest = std::numeric_limits<double>::max();
    double highest = std::numeric_limits<double>::min(); // smallest positive normal, kept so
    int lowestAt = 0;
    int highestAt = 0;
    const int n = static_cast<int>(std::min<size_t>(values.size(), std::numeric_limits<int>::max()));
    for (int i = 1; i < n; ++i) {
        if (values[i] < lowest) {
            lowest = values[i];
            lowestAt = i;
        }
        if (values[i] > highest) {
            highest = values[i];
            highestAt = i;
        }
    }
    return findMin ? lowestAt : highestAt;
}

void findMaxValuePos(cv::Mat& response, int rowStart, int rowEnd, int colStart, int colEnd, int& maxRow,
                     int& maxCol)
{
    if (response.type() != CV_32FC1 || response.dims != 2)
        return;
    rowStart = std::max(rowStart, 0);
    colStart = std::max(colStart, 0);
    rowEnd = std::min(rowEnd, response.rows);
    colEnd = std::min(colEnd, response.cols);
    float best = -std::numeric_limits<float>::max();
    for (int r = rowStart; r < rowEnd; ++r) {
        const float* row = response.ptr<float>(r);
        for (int c = colStart; c < colEnd; ++c) {
            if (row[c] > best) {
                best = row[c];
                maxRow = r;
                maxCol = c;
            }
        }
    }
}

namespace {

// dst(c, r) = src(r, c) for an 8-bit single-channel image. Blocks of 16 x 16 bytes go
// through four rounds of byte interleaving: each round rotates the 8-bit (row, column)
// index of a block by one bit, so four rounds swap row and column. Much faster than a
// byte-by-byte copy, which would cost more than the whole caliper on short profiles.
void transposeBytes(const cv::Mat& src, cv::Mat& dst)
{
    FUNCTIONS_ASSERT(src.type() == CV_8UC1);
    dst.create(src.cols, src.rows, CV_8UC1);
    int r = 0;
#if CV_SIMD128
    for (; r + 16 <= src.rows; r += 16) {
        int c = 0;
        for (; c + 16 <= src.cols; c += 16) {
            cv::v_uint8x16 a[16], b[16];
            for (int i = 0; i < 16; ++i)
                a[i] = cv::v_load(src.ptr<uchar>(r + i) + c);
            for (int round = 0; round < 2; ++round) {
                for (int i = 0; i < 8; ++i)
                    cv::v_zip(a[i], a[i + 8], b[2 * i], b[2 * i + 1]);
                for (int i = 0; i < 8; ++i)
                    cv::v_zip(b[i], b[i + 8], a[2 * i], a[2 * i + 1]);
            }
            for (int i = 0; i < 16; ++i)
                cv::v_store(dst.ptr<uchar>(c + i) + r, a[i]);
        }
        for (; c < src.cols; ++c)
            for (int i = 0; i < 16; ++i)
                dst.ptr<uchar>(c)[r + i] = src.ptr<uchar>(r + i)[c];
    }
#endif
    for (; r < src.rows; ++r) {
        const uchar* row = src.ptr<uchar>(r);
        for (int c = 0; c < src.cols; ++c)
            dst.ptr<uchar>(c)[r] = row[c];
    }
}

// What every segment of one caliper call shares.
struct SegmentScan {
    bool verticalProfiles;
    ClcDirection direction; // of the one-dimensional steps: forward (0) or reverse
    EdgeTransition transition;
    int width;
    int step;
    int start;
    int count;
    const float* kernel;
    int half;
    float percent;
    float minStrength;
    int maxEdges;
};

// A point whose position along its profile awaits the parabola through its peak.
struct PendingPeak {
    size_t point;
    const float* strength;
    int n;
    int i;
};

// Edges of one segment as points. Peaks get a placeholder position: their parabolas are
// solved later for the whole chunk at once, where the divisions of one do not wait for
// those of the one before.
struct SegmentPoints {
    std::vector<cv::Point_<double>>& points;
    std::vector<PendingPeak>& pending;
    const float* strength;
    int n;
    bool verticalProfiles;
    double across; // the segment centre, single precision
    int maxEdges;
    int count = 0;

    void reserve(size_t) {}
    bool found(int i, int plateauStart, bool peak)
    {
        if (plateauStart < 0 && peak)
            pending.push_back({points.size(), strength, n, i});
        add(plateauStart >= 0 ? plateauCentre(i, plateauStart) : static_cast<double>(i));
        return ++count >= maxEdges;
    }
    void add(double position)
    {
        // Points carry single precision by definition: both coordinates go through float.
        const double along = static_cast<float>(position);
        points.emplace_back(verticalProfiles ? across : along, verticalProfiles ? along : across);
    }
};

// Runs the caliper over the segments of `lines` (one row per line, segment s starting at
// row s*step) and appends their edges.
void scanSegments(const cv::Mat& lines, const SegmentScan& scan, std::vector<cv::Point_<double>>& points)
{
    // A chunk of segments goes through each stage before the next stage starts: the
    // stages of one short profile back to back would read what the previous stage has
    // just written, in pieces straddling its stores, and wait for every such store.
    // Chunks of some thousands of samples keep the stages' buffers in cache while making
    // the restart of the running sums at each chunk rare.
    constexpr size_t kChunkSamples = 8192;
    const int length = lines.cols;
    const int half = scan.half;
    const size_t pitch = static_cast<size_t>(length) + 2 * static_cast<size_t>(half);
    const int chunk = static_cast<int>(std::min<size_t>(std::max<size_t>(kChunkSamples / pitch, 1), scan.count));
    cv::AutoBuffer<float, 1> buffers((pitch + 2 * static_cast<size_t>(length) + 1) * chunk);
    float* padded = buffers.data();                    // averaged profiles between their paddings
    float* smoothed = padded + pitch * chunk;          // length samples per segment
    float* strength = smoothed + static_cast<size_t>(length) * chunk;
    float* tops = strength + static_cast<size_t>(length) * chunk;
    std::vector<PendingPeak> pending;
    const SmoothingKernel kernel(scan.kernel, half);

    const profile_core::Summation summation =
        scan.step < scan.width ? profile_core::Summation::SlidingWindow : profile_core::Summation::Direct;
    const bool forward = scan.direction == LeftToRight;
    const float sign = scan.direction == RightToLeft ? -1.0f : 1.0f;
    const float fraction = scan.percent / 100.0f;
    for (int first = 0; first < scan.count; first += chunk) {
        const int inChunk = std::min(chunk, scan.count - first);
        profile_core::averageSegments(lines, scan.width, scan.step, first, inChunk, summation, padded + half, pitch);
        for (int k = 0; k < inChunk; ++k)
            padProfile(padded + k * pitch, length, half, false);
        for (int k = 0; k < inChunk; ++k)
            convolvePadded(padded + k * pitch, length, kernel, smoothed + k * length);
        for (int k = 0; k < inChunk; ++k)
            tops[k] = derivativeStrength(smoothed + k * length, strength + k * length, length, sign, scan.transition);

        pending.clear();
        for (int k = 0; length > 1 && k < inChunk; ++k) {
            const int64_t segmentStart = scan.start + static_cast<int64_t>(first + k) * scan.step;
            const double centre = static_cast<double>(2 * segmentStart + scan.width) * 0.5;
            const float* profile = strength + k * length;
            SegmentPoints sink{points, pending, profile, length, scan.verticalProfiles, static_cast<float>(centre),
                               scan.maxEdges};
            extractEdges(profile, length, forward, tops[k], fraction, scan.minStrength, scan.maxEdges, sink);
        }
        for (const PendingPeak& peak : pending) {
            const double along = peakPosition(peak.strength, peak.n, peak.i);
            (scan.verticalProfiles ? points[peak.point].y : points[peak.point].x) = along;
        }
    }
}

} // namespace

void clcSegmentPoints(cv::Mat& strip, ClcDirection segmentAxis, ClcDirection scanDirection, EdgeTransition transition,
                      int width, int step, int start, int maxSegments, int sigma, float percent, float minStrength,
                      std::vector<cv::Point_<double>>& points, int maxEdges)
{
    if (!tool_support::isReadableImage(strip) || strip.dims != 2 || width < 1 || step < 1 || start < 0 ||
        maxSegments < 1 || sigma < 0 || sigma > kMaxKernelHalf || maxEdges < 1)
        return;

    const bool verticalProfiles = segmentAxis == LeftToRight;
    const int64_t extent = static_cast<int64_t>(verticalProfiles ? strip.cols : strip.rows) - start;
    if (extent < width)
        return;
    // The cap is the larger of maxSegments and the row count, deliberately: maxSegments
    // only limits beyond the row count, which hosts have come to rely on.
    const int64_t cap = std::max(maxSegments, strip.rows);
    const int count = static_cast<int>(std::min<int64_t>((extent - width) / step + 1, cap));
    if (points.capacity() < static_cast<size_t>(count))
        points.reserve(count);

    // Only the lines that some segment covers are converted; vertical bands are turned
    // into rows so that one row-wise averager serves both axes.
    const int used = static_cast<int>(static_cast<int64_t>(step) * (count - 1) + width);
    cv::Mat region = verticalProfiles ? strip.colRange(start, start + used) : strip.rowRange(start, start + used);
    cv::Mat grey;
    if (region.channels() == 1)
        grey = region;
    else
        cv::cvtColor(region, grey, cv::COLOR_RGB2GRAY);
    cv::Mat lines;
    if (verticalProfiles)
        transposeBytes(grey, lines);
    else
        lines = grey;

    SegmentScan scan;
    scan.verticalProfiles = verticalProfiles;
    scan.direction = verticalProfiles ? (scanDirection == TopToBottom ? LeftToRight : RightToLeft) : scanDirection;
    scan.transition = transition;
    scan.width = width;
    scan.step = step;
    scan.start = start;
    scan.count = count;
    scan.percent = percent;
    scan.minStrength = minStrength;
    scan.maxEdges = maxEdges;

    // Profiles not longer than sigma get the kernel cut to fit them.
    const int length = lines.cols;
    float cutKernel[2 * kMaxKernelHalf + 1];
    scan.kernel = getOneDimGaussianKernel(sigma);
    scan.half = sigma;
    if (length < sigma + 1) {
        scan.half = length - 1;
        cutOneDimGaussianKernel(scan.kernel, sigma, cutKernel, scan.half);
        scan.kernel = cutKernel;
    }

    scanSegments(lines, scan, points);
}
