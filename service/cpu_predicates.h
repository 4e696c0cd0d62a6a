// Yes/no questions about the processor.
#pragma once

extern "C" {

int vex_serv_korva_cpu_true();
int vex_serv_korva_cpu();
int vex_serv_get_microarchitecture();

}
