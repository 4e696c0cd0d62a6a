// The processor's clock rate in GHz.
#pragma once

extern "C" {

double vex_serv_get_max_cpu_frequency();  // nominal
double vex_serv_get_cpu_frequency();      // measured

}
