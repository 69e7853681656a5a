#pragma once

#include <cstdint>

#include "qmpic/export.h"

/// @file
/// Energy transfer between two dyes (FRET): pictures with a FRET channel (donor excited, acceptor
/// seen), a donor and an acceptor channel. From each channel its background is taken; absent
/// channels, those with an index below 0, are 0. With what is left, I1, I2 and I3 of FRET, donor
/// and acceptor, the corrected signal is
///
///     F = I1 - (I3 - I2 * dDonorInAcceptor) * dAcceptorBleed
///            - (I2 - I3 * dAcceptorInDonor) * dDonorBleed
///
/// in doubles, from left to right, as it is written: 100, 50 and 20 with bleeds of 0.5 (donor) and
/// 0.25 (acceptor) give 100 - 20 * 0.25 - 50 * 0.5 = 70 (after Gordon et al. 1998, Biophysical
/// Journal 74, 2702).
///
/// Pixels of the destination have three cells, those of a colour of a table: blue, green, red of
/// the tables of SQmLut. `pLuts` is that of a colour set: 256 pointers, each to three bytes. What
/// is no number (NaN) counts as 0 where it is limited. Everything runs in the calling thread. No
/// index is compared with `uiComponents`: one beyond them is the caller's fault.
///
/// How far the backgrounds reach, which differs from path to path:
///
/// | path                                                   | background as it is used          |
/// |--------------------------------------------------------|-----------------------------------|
/// | `fret_8`, `fret_eff_8`                                 | low byte, 0 to 255                |
/// | `fret_photobleach_eff_8` and all that are named `_16`  | 16 bits, 0 to 65535               |
/// | `fret_float`                                           | low byte, as a float: 300 is 44.0 |
/// | `fret_eff_float`                                       | 16 bits with a sign, as a float   |
/// | CQmPicMemAPI_Base::FRETImageMono                       | 16 bits with a sign               |
///
/// Integers less their background are 0 where they would be negative, and floats too, but for
/// FRETImageMono, which limits nothing there.

/// Arguments of what is coloured by the signal.
///
/// @param pDst            three cells a pixel; any address, as for the source
/// @param uiDstWidthBytes bytes from row to row; gaps between the rows are neither read nor written
/// @param uiComponents    components of a pixel of the source
/// @param iFretComp       component of the channel, or below 0; likewise the next two
/// @param iFourthComp     not read, and neither is its background
/// @param dDonorBleed     part of the donor's light that the FRET channel sees
/// @param dAcceptorBleed  part of what the acceptor channel sees that is in the FRET channel, too
/// @param dDonorInAcceptor, dAcceptorInDonor  light of one in the channel of the other
/// @param pLuts           the colours; null: see the kernel
/// @param fMin, fMax      F that gets the first and the last colour
/// @param uiWidth         pixels in a row; 0 does nothing
/// @param uiSizeInPixels  pixels in the area; an incomplete last row does not count
/// @return 0; -3 when there is no memory for the default colours, with nothing written
template <class Background>
using FretKernel = int(void* pDst, std::uint32_t uiDstWidthBytes, const void* pSrc,
                       std::uint32_t uiComponents, std::uint32_t uiSrcWidthBytes,
                       std::uint32_t uiWidth, std::uint64_t uiSizeInPixels, int iFretComp,
                       int iDonorComp, int iAcceptorComp, int iFourthComp, Background fretBg,
                       Background donorBg, Background acceptorBg, Background fourthBg,
                       double dDonorBleed, double dAcceptorBleed, double dDonorInAcceptor,
                       double dAcceptorInDonor, const void* pLuts, float fMin, float fMax);

/// The colour of (F - fMin) * s, limited to 0 and 255 and cut, with s = 255 / (fMax - fMin) in
/// single precision. A range that is empty or turned round has s = 1: with fMin = fMax = 10, F = 70
/// takes row 60. Sources are bytes or words, cells bytes.
///
/// Without `pLuts` the colours are those of predefined table 1, "Rainbow", whose first is blue:
/// SQmLut::InitPredefLuts is called when its lists are missing, so the first such call of a process
/// is for one thread.
QM_API FretKernel<unsigned char> fret_8;
QM_API FretKernel<unsigned short> fret_16;
/// The same from words to cells of 16 bits, which hold the bytes of the colours, 0 to 255.
QM_API FretKernel<unsigned short> fret_16_to_16;
/// The same of floats, at `uiSrcWidthBytes` *bytes* from row to row. **Without `pLuts` there are no
/// colours and no range**: all three cells are F limited to 0 and 255, and cut.
QM_API FretKernel<unsigned char> fret_float;

/// Arguments as above, and
/// @param dEffMin, dEffMax percentages that get the first and the last colour; where dEffMax is not
///                        above dEffMin they are 0 and 100
template <class Background>
using FretEffKernel = int(void* pDst, std::uint32_t uiDstWidthBytes, const void* pSrc,
                          std::uint32_t uiComponents, std::uint32_t uiSrcWidthBytes,
                          std::uint32_t uiWidth, std::uint64_t uiSizeInPixels, int iFretComp,
                          int iDonorComp, int iAcceptorComp, int iFourthComp, Background fretBg,
                          Background donorBg, Background acceptorBg, Background fourthBg,
                          double dDonorBleed, double dAcceptorBleed, double dDonorInAcceptor,
                          double dAcceptorInDonor, double dEffMin, double dEffMax,
                          const void* pLuts);

/// The efficiency E = max(F, 0) / I2 * 100, as a colour that is shaded by the donor. E is 0 where
/// I2 is below 1; it is stretched, (E - dEffMin) / (dEffMax - dEffMin) * 100, and limited to 0 and
/// 100. The colour is k = E * 255 / 100, cut: F = 7 and I2 = 15 give 119.
///
/// The shade b is the donor less its background and less the least m of the picture's, at least
/// 0. A cell is colour k times b / 255 with `pLuts`, and without them colour k of a scale from
/// blue to red (QM_RGBRainbowColorTable) times b / W, W being the donor's greatest value (at least
/// 1) less m, or 1 where that is 0: so with a table dark pictures stay dark.
///
/// `iDonorComp` has to be a component: the shade reads it without a test. 0 in any case.
QM_API FretEffKernel<unsigned char> fret_eff_8;
/// The same of words, with these differences. k = E / 100 * 255, cut: 118 in the example above. The
/// shade ends at a level H, at which or above which the brightest hundredth of the pixels lies: the
/// highest value of which the values from it on count at least L = uiSizeInPixels / 100 (65535 when
/// L is 0, so for less than 100 pixels; 1 when there is none). Nothing is taken off below, and H is
/// the divisor, with `pLuts` and without.
///
/// Values are counted in 16 bits, **which wrap: 65536 pixels of one value count 0**. Should no
/// level be found because of this, H is 1, and a lower level Lo is looked for upward from 0, with
/// the sum going on; without one it is 2^32 - 1. Lo is taken off the shade, H becomes 2 if it is
/// not above Lo, and without `pLuts` the divisor is H - Lo, all in 32 bits that wrap: so without a
/// lower level the shade is the donor + 1, at most 2, and the divisor 2 with `pLuts` and 3 without.
/// -3 when there is no memory for the counters, with nothing written.
QM_API FretEffKernel<unsigned short> fret_eff_16;

/// fret_eff_8 of floats, with E 0 where I2 is not above 0. The least and the greatest value of the
/// donor start at `fMin` and `fMax`, which are so only widened. The shade is the donor less
/// background and least value in single precision, cut; a cell is colour times shade / greatest
/// value with `pLuts`, / (greatest - least) without, in doubles, of which the low byte is stored.
QM_API int fret_eff_float(void* pDst, std::uint32_t uiDstWidthBytes, const void* pSrc,
                          std::uint32_t uiComponents, std::uint32_t uiSrcWidthBytes,
                          std::uint32_t uiWidth, std::uint64_t uiSizeInPixels, int iFretComp,
                          int iDonorComp, int iAcceptorComp, int iFourthComp, short sFretBg,
                          short sDonorBg, short sAcceptorBg, short sFourthBg, double dDonorBleed,
                          double dAcceptorBleed, double dDonorInAcceptor, double dAcceptorInDonor,
                          double dEffMin, double dEffMax, const void* pLuts, float fMin,
                          float fMax);

/// @param pPostBleach, pPreBleach  the two pictures, of one format and stride
/// @param usPreReference, usPostReference  values of something that does not change, less whose
///        background (in 32 bits) each picture is divided, as whole numbers; not where the value is
///        0 or the difference below 2
using FretPhotobleachKernel = int(void* pDst, std::uint32_t uiDstWidthBytes,
                                  const void* pPostBleach, const void* pPreBleach,
                                  std::uint32_t uiComponents, std::uint32_t uiSrcWidthBytes,
                                  std::uint32_t uiWidth, std::uint64_t uiSizeInPixels, int iComp,
                                  double dEffMin, double dEffMax, unsigned short usPreBg,
                                  unsigned short usPostBg, unsigned short usPreReference,
                                  unsigned short usPostReference);

/// The efficiency from how much brighter the donor becomes when the acceptor is bleached: with P
/// after and Q before, less their backgrounds, E = (P - Q) / P * 100: 200 after 150 is 25. It is
/// 0 where P is 0. Colour and shade are those of fret_eff_8 or fret_eff_16 without a table, the
/// shade from the picture after. With an index below 0, P and Q are 0, but the shade reads it
/// without a test. 0; `fret_photobleach_eff_16`: -3 as above.
QM_API FretPhotobleachKernel fret_photobleach_eff_8, fret_photobleach_eff_16;
