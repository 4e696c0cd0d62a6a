// Yes/no questions about the processor, each answered 1 or 0 and remembered from its first answer on.
#pragma once

extern "C" {

int vex_serv_korva_cpu_true();  // the processor is of the vendor that this build serves
// The same under reproducibility: a fixed branch answers 1, but 0 for COMPATIBLE, whatever the processor.
int vex_serv_korva_cpu();

int vex_serv_cpuhassse41_true();
int vex_serv_cpuhassse41();
int vex_serv_cpuhassse42();
int vex_serv_cpuisbulldozer();
int vex_serv_cpuisitbarcelona();
int vex_serv_cpuiszen();
int vex_serv_cpuislowpowersse4_2();
int vex_serv_cpuislowpowerssse3();
int vex_serv_cpuismpxgen();
int vex_serv_cpuismanycore();
int vex_serv_cpuisvnnigen();
int vex_serv_cpuisvaesgen();
int vex_serv_cpuisbf16gen();
int vex_serv_cpuhasamx();
int vex_serv_cpuhasamxfp16();
// Present, enabled by the operating system and allowed by the ceiling on the instruction set.
int vex_serv_cpuhasavxvnni();
int vex_serv_cpuhasf16c();
int vex_serv_cpuhasfp16();

// A code for the kernels' finer choices; 0 where vex_serv_korva_cpu is 0.
int vex_serv_get_microarchitecture();
}
