# Draws what gemm_sweep wrote, one chart for each family of shapes, a line for each pair of transpositions:
#   gnuplot -e "points='FILE'; image='build/native/gemm_sweep.png'" bench/gemm_sweep.gnuplot
set terminal pngcairo size 1400, 900
set output image
set multiplot layout 2, 2 title "Multiply on one thread: speed relative to the other library"
set xlabel "size"
set ylabel "ratio"
set yrange [0:3]
set grid
set key top right
do for [family in "cube tall flat shallow"] {
  set title family
  plot for [letters in "NN NT TN TT"] points \
         using ((strcol(1) eq family && strcol(2) eq letters) ? $3 : NaN):9 with lines title letters, \
       1 with lines dashtype 2 linecolor "black" notitle
}
unset multiplot
