#pragma once
// Process-wide switches. They are fixed at compile time and nothing assigns them: the
// parent tools rely on the behaviour these values select. The alternative paths they
// guard stay built so that they can be reached by tests (and by the vora-telegrapher
// build, which flips the method selector through VORA_TELEGRAPHER_PATH).

inline constexpr bool VoraGlobal_b_AllowYopenAndZshortMatrices_ToBeChanged = true;
// Not inline: a namespace-scope constexpr has internal linkage, so the calibration driver
// compiled again for vora-telegrapher may see the other value without breaking the
// one-definition rule.
#ifdef VORA_TELEGRAPHER_PATH
constexpr bool VoraGlobal_b_UseSymmetricalGeometricalProperty = false;
#else
constexpr bool VoraGlobal_b_UseSymmetricalGeometricalProperty = true;
#endif
inline constexpr bool VoraGlobal_b_DeriveArmFrequencyLimitsFromMaxEpr = true;
inline constexpr bool VoraGlobal_b_HoldPortLineRealParts = true;
// Only logged: the closed scalar forms for one-port groups it would select never reached a
// result with this value, so they are not built.
inline constexpr bool VoraGlobal_b_Use_vc_Saa_Sab_Sba_Sbb_ForSpecialCaseOfOnly1CGroupPort = false;
inline constexpr bool VoraGlobal_b_TestAndDebug_BeforeDoingShortOpenCalibration = false;
inline constexpr bool VoraGlobal_b_TestAndDebug_AfterDoingShortOpenCalibration = false;
