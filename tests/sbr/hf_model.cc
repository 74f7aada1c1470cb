#include "sbr/hf_model.h"

#include <algorithm>
#include <cmath>

#include "dsp/sbr_tables.h"

namespace orbel {
namespace {

using Complex = std::complex<double>;

// A value of channel `channel`, from the exponents that both channels sent.
double Level(bool coupled, int channel, double exponent, int balance) {
  const double level = std::pow(2.0, exponent);
  if (!coupled) return level;
  return 2 * level / (1 + std::pow(2.0, channel == 0 ? 12 - balance : balance - 12));
}

int BandAt(const int32_t* table, int count, int k) {
  int band = 0;
  while (band + 1 < count && table[band + 1] <= k) ++band;
  return band;
}

}  // namespace

void HfModel::Generate(const SbrElement& e, int channel, const SbrChannel& low, ModelRows& high) {
  constexpr double kNew[4][4] = {
      {0, 0.6, 0.9, 0.98}, {0.6, 0.75, 0.9, 0.98}, {0, 0.75, 0.9, 0.98}, {0, 0.75, 0.9, 0.98}};
  for (int g = 0; g < e.N_Q; ++g) {
    const double target = kNew[e.prevInvfMode[channel][g]][e.bs_invf_mode[channel][g]];
    const double share = target < bw[g] ? 0.75 : 0.90625;
    bw[g] = share * target + (1 - share) * bw[g];
    if (bw[g] < 0.015625) bw[g] = 0;
  }
  int k = e.kx;
  for (int p = 0; p < e.numPatches; ++p) {
    for (int x = 0; x < e.patchNumSubbands[p]; ++x, ++k) {
      const int s = e.patchStartSubband[p] + x;
      const auto X = [&](int row) { return Complex(low.lowReal[row][s], low.lowImag[row][s]); };
      Complex phi[3][3] = {};
      for (int i = 0; i < 3; ++i)
        for (int j = 1; j < 3; ++j)
          for (int l = 2; l < 40; ++l) phi[i][j] += X(l - i) * std::conj(X(l - j));
      const double d = (phi[2][2] * phi[1][1]).real() - std::norm(phi[1][2]) / (1 + 1e-6);
      const Complex a1 = (phi[0][1] * phi[1][2] - phi[0][2] * phi[1][1]) / d;
      const Complex a0 = -(phi[0][1] + a1 * std::conj(phi[1][2])) / phi[1][1];
      const double b =
          std::abs(a0) < 4 && std::abs(a1) < 4 ? bw[BandAt(e.f_TableNoise, e.N_Q, k)] : 0;
      for (int l = 0; l < kSbrSlots; ++l)
        high[l][k] = X(l + 2) + b * a0 * X(l + 1) + b * b * a1 * X(l);
    }
  }
}

void HfModel::Run(const SbrElement& e, int channel, const SbrChannel& low, ModelRows& out) {
  static ModelRows X;
  std::fill_n(&X[0][0], kSbrSlots * kQmfBands, Complex{});
  Generate(e, channel, low, X);
  const SbrGrid& grid = e.grid[channel];
  const bool coupled = e.elementId == 1 && e.bs_coupling != 0;
  const SbrChannelData& mine = e.channelData[channel];
  const SbrChannelData& levels = e.channelData[coupled ? 0 : channel];
  const bool coarse = e.bs_amp_res != 0 && !(e.bs_frame_class[channel] == 0 && grid.L_E == 1);
  if (e.resetFlag != 0) {
    filled = false;
    noiseIndex = 0;
  }
  bool mapped[kQmfBands] = {};
  for (int i = 0; i < e.N_high; ++i)
    mapped[(e.f_TableHigh[i] + e.f_TableHigh[i + 1]) / 2] = mine.bs_add_harmonic[i] != 0;
  int lA = -1;
  const int pointer = e.bs_pointer[channel];
  if (e.bs_frame_class[channel] == 2 && pointer > 1) lA = pointer - 1;
  if (e.bs_frame_class[channel] % 2 == 1 && pointer > 0) lA = grid.L_E + 1 - pointer;
  const int start = 2 * grid.t_E[0];
  const double limit = std::pow(10.0, (e.bs_limiter_gains - 1) * 0.3);

  for (int l = 0; l < grid.L_E; ++l) {
    const int32_t* table = grid.freqRes[l] != 0 ? e.f_TableHigh : e.f_TableLow;
    const int count = grid.freqRes[l] != 0 ? e.N_high : e.N_low;
    const int first = 2 * grid.t_E[l], end = 2 * grid.t_E[l + 1];
    const int q = grid.L_Q > 1 && grid.t_E[l] >= grid.t_Q[1] ? 1 : 0;
    const bool transient = l == lA || l == prevLA;
    double G2[64] = {}, Q2[64] = {}, S2[64] = {}, E[64] = {}, C[64] = {};
    for (int k = e.kx; k < e.kx + e.M; ++k)
      for (int i = first; i < end; ++i) C[k] += std::norm(X[i][k]) / (end - first);
    for (int band = 0; band < count; ++band) {
      bool sine = false;
      double mean = 0;
      const auto here = [&](int k) { return mapped[k] && (l >= lA || before[k]); };
      for (int k = table[band]; k < table[band + 1]; ++k) {
        sine = sine || here(k);
        mean += C[k] / (table[band + 1] - table[band]);
      }
      for (int k = table[band]; k < table[band + 1]; ++k) {
        if (e.bs_interpol_freq == 0) C[k] = mean;
        const int at = levels.envOffset[l] + band;
        E[k] = Level(coupled, channel, levels.envValues[at] * (coarse ? 1.0 : 0.5),
                     e.channelData[1].envValues[at] >> (coarse ? 0 : 1));
        const int atQ = levels.noiseOffset[q] + BandAt(e.f_TableNoise, e.N_Q, k);
        const double Q =
            Level(coupled, channel, 6 - levels.noiseValues[atQ], e.channelData[1].noiseValues[atQ]);
        Q2[k] = E[k] * Q / (1 + Q);
        S2[k] = here(k) ? E[k] / (1 + Q) : 0;
        G2[k] = 64 * E[k] / (1 + 64 * C[k]) * (sine ? Q / (1 + Q) : transient ? 1 : 1 / (1 + Q));
      }
    }
    for (int n = 0; n < e.N_L; ++n) {
      double sumE = 1e-12, sumC = 1e-12, total = 1e-12;
      for (int k = e.f_TableLim[n]; k < e.f_TableLim[n + 1]; ++k) sumE += E[k], sumC += C[k];
      const double most = e.bs_limiter_gains == 3 ? 1e10 : std::min(sumE / sumC * limit, 1e10);
      for (int k = e.f_TableLim[n]; k < e.f_TableLim[n + 1]; ++k) {
        if (G2[k] > most) Q2[k] *= most / G2[k], G2[k] = most;
        total += G2[k] * C[k] + S2[k] + (S2[k] == 0 && !transient ? Q2[k] : 0);
      }
      const double boost = std::min(sumE / total, std::pow(10.0, 0.4));
      for (int k = e.f_TableLim[n]; k < e.f_TableLim[n + 1]; ++k)
        G2[k] *= boost, Q2[k] *= boost, S2[k] *= boost;
    }
    const bool smooth = !transient && e.bs_smoothing_mode == 0;
    for (int i = first; i < end; ++i) {
      constexpr double kSmooth[5] = {0.03183050093751, 0.11516383427084, 0.21816949906249,
                                     0.30150283239582, 0.33333333333333};
      for (int row = filled ? 4 : 0; row < 5; ++row) {
        for (int next = 0; filled && next < 4; ++next) {
          std::copy_n(gains[next + 1], 64, gains[next]);
          std::copy_n(noises[next + 1], 64, noises[next]);
        }
        for (int k = 0; k < 64; ++k)
          gains[row][k] = std::sqrt(G2[k]), noises[row][k] = std::sqrt(Q2[k]);
      }
      filled = true;
      const int phase = (sineIndex + i - start) % 4;
      const Complex turn = std::pow(Complex(0, 1), phase);
      for (int m = 0; m < e.M; ++m) {
        const int k = e.kx + m;
        double g = 0, noise = 0;
        for (int row = 0; row < 5; ++row) {
          g += gains[row][k] * (smooth ? kSmooth[row] : row == 4);
          noise += noises[row][k] * (smooth ? kSmooth[row] : row == 4);
        }
        if (transient || S2[k] != 0) noise = 0;
        const int entry = ((i - start) * e.M + 1 + noiseIndex + m) % 512;
        const Complex V(dspSbrNoise.real[entry], dspSbrNoise.imag[entry]);
        const Complex tone(turn.real(), k % 2 == 0 ? turn.imag() : -turn.imag());
        out[i][k] = g * X[i][k] + noise * V + std::sqrt(S2[k]) * tone;
      }
    }
  }
  const int slots = 2 * grid.t_E[grid.L_E] - start;
  noiseIndex = (noiseIndex + slots * e.M) % 512;
  sineIndex = (sineIndex + slots) % 4;
  prevLA = lA == grid.L_E ? 0 : -1;
  std::copy_n(mapped, 64, before);
}

}  // namespace orbel
