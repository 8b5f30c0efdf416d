// Keys, blocks, hexadecimal, and a shell command's own share.
//
// Each helper stands beside libcrypto doing the same alone; reading a key and checking it are timed
// apart. How long a key takes to make is luck: so that both sides look for the same primes, random
// numbers come from a sequence that is started anew for each.
#include <openssl/bn.h>
#include <openssl/pem.h>
#include <openssl/rand.h>
#include <openssl/rsa.h>

#include <algorithm>
#include <chrono>
#include <vector>

#include "core/shell.h"
#include "crypto/hex.h"
#include "crypto/key_files.h"
#include "crypto/rsa_helpers.h"
#include "support/bench.h"

namespace {

std::uint64_t sequence = 0;

int next_random_bytes(unsigned char* out, int count) {
  for (int i = 0; i < count; ++i) {
    sequence += 0x9E3779B97F4A7C15U;
    const std::uint64_t mixed = (sequence ^ sequence >> 30U) * 0xBF58476D1CE4E5B9U;
    out[i] = static_cast<unsigned char>((mixed ^ mixed >> 27U) >> 32U);
  }
  return 1;
}

double median(std::vector<double> values) {
  std::sort(values.begin(), values.end());
  return values[values.size() / 2];
}

double cpu_seconds_of(void (*work)(), std::uint64_t seed) {
  sequence = seed;
  const double begin = cpu_seconds();
  work();
  return cpu_seconds() - begin;
}

RsaBuffer own_key_text{};
std::uint16_t own_key_length = 0;

void make_and_read_key_pair() {
  rsa_gen_key_pair();
  read_pub_key_to_memory(own_key_text, own_key_length);
}

void make_key_by_libcrypto() {
  BIGNUM* exponent = BN_new();
  RSA* key = RSA_new();
  BN_set_word(exponent, RSA_F4);
  RSA_generate_key_ex(key, 2048, exponent, nullptr);
  RSA_free(key);
  BN_free(exponent);
}

void key_pair(benchmark::State& state) {
  static RAND_METHOD method{};
  method.bytes = next_random_bytes;
  method.status = [] { return 1; };
  RAND_set_rand_method(&method);
  std::vector<double> times;
  std::vector<double> ratios;
  std::vector<double> ratios_with_cat;
  for ([[maybe_unused]] auto _ : state) {
    const double alone = cpu_seconds_of(make_key_by_libcrypto, times.size());
    take_time_apart();
    times.push_back(cpu_seconds_of(make_and_read_key_pair, times.size()));
    ratios.push_back(times.back() / alone);
    ratios_with_cat.push_back((times.back() + take_time_apart().commands) / alone);
    state.SetIterationTime(times.back());
  }
  RAND_set_rand_method(nullptr);
  state.counters["ratio"] = median(ratios);
  state.counters["ratio_with_cat"] = median(ratios_with_cat);
  state.counters["median_ms"] = 1000 * median(times);
  state.counters["worst_ms"] = 1000 * *std::max_element(times.begin(), times.end());
}
BENCHMARK(key_pair)->UseManualTime()->Iterations(25)->Unit(benchmark::kMillisecond);

RSA* read_public_key() {
  BIO* memory = BIO_new_mem_buf(own_key_text.data(), own_key_length);
  RSA* key = PEM_read_bio_RSA_PUBKEY(memory, nullptr, nullptr, nullptr);
  BIO_free(memory);
  return key;
}

RSA* read_private_key() {
  BIO* file = BIO_new_file(RSA_PRI_FILE, "r");
  RSA* key = PEM_read_bio_RSAPrivateKey(file, nullptr, nullptr, nullptr);
  BIO_free(file);
  return key;
}

void need_key_pair() {
  if (own_key_length == 0) {
    make_and_read_key_pair();
  }
}

air::Bytes data_of(const benchmark::State& state) {
  return air::Bytes(static_cast<std::size_t>(state.range(0)) * RSA_BLOCK, 0x11);
}

void by_blocks(decltype(&RSA_public_encrypt) work, const air::Bytes& data, RSA* key) {
  RsaBuffer out;
  for (std::size_t at = 0; at < data.size(); at += RSA_BLOCK) {
    work(RSA_BLOCK, &data[at], out.data(), key, RSA_NO_PADDING);
  }
}

// `work` has to give as many bytes as it got.
template <typename Work>
void helper(benchmark::State& state, Work work) {
  need_key_pair();
  std::uint16_t length = 0;
  const air::Bytes data = data_of(state);
  measure_without_keys(state, [&] {
    RsaBuffer out{};
    work(data, out, length);
  });
  if (length != data.size()) {
    state.SkipWithError("it failed");
  }
}

void encrypt(benchmark::State& state) {
  helper(state, [](ByteView data, RsaBuffer& out, std::uint16_t& length) {
    rsa_encrypt_by_pub_key(clipped(own_key_text, 0, own_key_length), data, out, length);
  });
}
BENCHMARK(encrypt)->Arg(1)->Arg(2)->UseManualTime();

void decrypt(benchmark::State& state) {
  helper(state, [](ByteView data, RsaBuffer& out, std::uint16_t& length) {
    rsa_decrypt_by_pri_key(data, out, length);
  });
}
BENCHMARK(decrypt)->Arg(1)->Arg(2)->UseManualTime();

// The blocks alone, with a key as the helpers have it: a peer's was just read, so that its first
// block also prepares it for those that follow; the own one is kept.
void raw_encrypt(benchmark::State& state) {
  need_key_pair();
  measure_without_keys(state, [&, data = data_of(state)] {
    RSA* key = read_public_key();
    by_blocks(RSA_public_encrypt, data, key);
    RSA_free(key);
  });
}
BENCHMARK(raw_encrypt)->Name("raw/encrypt")->Arg(1)->Arg(2)->UseManualTime();

void raw_decrypt(benchmark::State& state) {
  need_key_pair();
  RSA* key = read_private_key();
  measure_without_keys(state,
                       [&, data = data_of(state)] { by_blocks(RSA_private_decrypt, data, key); });
  RSA_free(key);
}
BENCHMARK(raw_decrypt)->Name("raw/decrypt")->Arg(1)->Arg(2)->UseManualTime();

// What is timed apart above.
void read_key_public(benchmark::State& state) {
  need_key_pair();
  measure(state, [] { RSA_free(read_public_key()); });
}
BENCHMARK(read_key_public);

void read_key_private_and_check(benchmark::State& state) {
  need_key_pair();
  measure(state, [] {
    RSA* key = read_private_key();
    RSA_check_key(key);
    RSA_free(key);
  });
}
BENCHMARK(read_key_private_and_check)->Unit(benchmark::kMicrosecond);

const air::Bytes BYTES(1024, 0xA5);
std::array<char, 2049> digits;

void hexadecimal(benchmark::State& state) {
  measure(state, [] { bytes_to_hex_string(BYTES, digits); });
}
BENCHMARK(hexadecimal);

void hexadecimal_print_alone(benchmark::State& state) {
  bytes_to_hex_string(BYTES, digits);
  measure(state, [] { (void)printf("hex_string(%d): \n%.*s\n", 2049, 2049, digits.data()); });
}
BENCHMARK(hexadecimal_print_alone);

void hexadecimal_by_printf(benchmark::State& state) {
  measure(state, [] {
    for (std::size_t i = 0; i < BYTES.size(); ++i) {
      (void)snprintf(&digits[2 * i], 3, "%02hhx", BYTES[i]);
    }
  });
}
BENCHMARK(hexadecimal_by_printf);

// run_command around system(): the median time outside of system() as a share of that inside.
void shell_command(benchmark::State& state) {
  std::vector<double> own;
  std::vector<double> inside;
  for ([[maybe_unused]] auto _ : state) {
    take_time_apart();
    const auto begin = std::chrono::steady_clock::now();
    run_command("wl actframe 02:00:00:00:00:0a 0409027e911004");
    const std::chrono::duration<double> whole = std::chrono::steady_clock::now() - begin;
    inside.push_back(take_time_apart().commands);
    own.push_back(whole.count() - inside.back());
  }
  state.counters["own_share_percent"] = 100 * median(own) / median(inside);
  state.counters["median_us"] = 1e6 * median(inside);
}
BENCHMARK(shell_command)->Iterations(200)->Unit(benchmark::kMicrosecond)->UseRealTime();

}  // namespace
