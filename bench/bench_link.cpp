// Speed of the link's framing beside a plain CRC. Read the ratios within one run: BM_Crc / BM_BoostCrc is to
// stay within 1.05, BM_FrameAndDeframe / BM_TwoCrcPasses within 1.6.

#include <benchmark/benchmark.h>

#include <array>
#include <boost/crc.hpp>
#include <vector>

#include "lib/crc16_ccitt.h"
#include "lib/hdlc.h"

namespace {

constexpr int block_size = hdlc_max_contents;

std::array<uint8_t, block_size> block() {
    std::array<uint8_t, block_size> bytes{};
    for (int i = 0; i < block_size; ++i)
        bytes[static_cast<size_t>(i)] = static_cast<uint8_t>(37 * i + 11);
    return bytes;
}

void BM_Crc(benchmark::State& state) {
    auto data = block();
    for (auto _ : state) {
        benchmark::DoNotOptimize(data);
        benchmark::DoNotOptimize(crc16_ccitt_calc_data(crc16_initial, data.data(), block_size));
    }
}

void BM_BoostCrc(benchmark::State& state) {
    auto data = block();
    for (auto _ : state) {
        benchmark::DoNotOptimize(data);
        boost::crc_optimal<16, 0x1021, 0xFFFF, 0, true, true> crc;
        crc.process_bytes(data.data(), data.size());
        benchmark::DoNotOptimize(crc.checksum());
    }
}

void BM_TwoCrcPasses(benchmark::State& state) {
    auto data = block();
    for (auto _ : state) {
        benchmark::DoNotOptimize(data);
        benchmark::DoNotOptimize(crc16_ccitt_calc_data(crc16_initial, data.data(), block_size));
        benchmark::DoNotOptimize(data);
        benchmark::DoNotOptimize(crc16_ccitt_calc_data(crc16_initial, data.data(), block_size));
    }
}

std::array<uint8_t, 2 * hdlc_rx_buffer_size + 2> wire;
size_t wire_length;
int frames;

void to_wire(int byte) {
    wire[wire_length++] = static_cast<uint8_t>(byte);
}
void count_frame(const uint8_t*, uint16_t length) {
    frames += length == block_size;
}

void BM_Frame(benchmark::State& state) {
    auto data = block();
    hdlc_init(to_wire, count_frame);
    for (auto _ : state) {
        benchmark::DoNotOptimize(data);
        wire_length = 0;
        hdlc_tx_frame(data.data(), block_size);
        benchmark::ClobberMemory();
    }
}

void BM_Deframe(benchmark::State& state) {
    const auto data = block();
    hdlc_init(to_wire, count_frame);
    wire_length = 0;
    hdlc_tx_frame(data.data(), block_size);
    for (auto _ : state) {
        benchmark::ClobberMemory();
        for (size_t i = 0; i < wire_length; ++i)
            hdlc_on_rx_byte(wire[i]);
    }
}

void BM_FrameAndDeframe(benchmark::State& state) {
    auto data = block();
    hdlc_init(to_wire, count_frame);
    frames = 0;
    for (auto _ : state) {
        benchmark::DoNotOptimize(data);
        wire_length = 0;
        hdlc_tx_frame(data.data(), block_size);
        for (size_t i = 0; i < wire_length; ++i)
            hdlc_on_rx_byte(wire[i]);
    }
    if (frames != static_cast<int>(state.iterations())) state.SkipWithError("a frame was lost");
}

BENCHMARK(BM_Crc);
BENCHMARK(BM_BoostCrc);
BENCHMARK(BM_TwoCrcPasses);
BENCHMARK(BM_Frame);
BENCHMARK(BM_Deframe);
BENCHMARK(BM_FrameAndDeframe);

}  // namespace

BENCHMARK_MAIN();
