// How many threads a routine may use.
#pragma once

extern "C" {

int vex_serv_get_max_threads();
// 0 ALL, 1 BLAS, 2 FFT, 3 ELEM, 4 PARDISO, -1 no particular domain.
int vex_serv_domain_get_max_threads(int domain);
void vex_serv_set_num_threads(int count);
int vex_serv_domain_set_num_threads(int count, int domain);
int vex_serv_set_num_threads_local(int count);  // returns the calling thread's previous override
int vex_serv_get_dynamic();
int vex_serv_set_dynamic(int flag);
int vex_serv_get_num_stripes();
void vex_serv_set_num_stripes(int count);
int vex_serv_mpi_safe(int flag);
int vex_serv_mpi_get_ppn();
int vex_serv_omp_in_parallel();
int vex_serv_get_thread_layer();

}
