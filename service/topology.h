// Packages, cores and logical processors of the machine.
#pragma once

extern "C" {

int vex_serv_get_ncpus();         // packages
int vex_serv_get_ncorespercpu();  // physical cores per package
int vex_serv_get_ht();            // 1 when physical cores differ from logical processors
int vex_serv_get_nlogicalcores();
}
