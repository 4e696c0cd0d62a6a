# Draws what gemm_sweep wrote: percent of the multiply-add peak above, speed relative to the other library
# below, a chart for each family of shapes and a line for each pair of transpositions.
#   gnuplot -e "points='FILE'; image='build/native/gemm_sweep.png'" bench/gemm_sweep.gnuplot
set terminal pngcairo size 2000, 900
set output image
set multiplot layout 2, 4 title "Multiply on one thread"
set xlabel "size"
set grid
do for [row in "10 9"] {
  column_of = int(row)
  if (column_of == 10) {
    set ylabel "percent of peak"; set yrange [0:100]; set key bottom right
  } else {
    set ylabel "ratio"; set yrange [0:3]; set key top right
  }
  do for [family in "cube tall flat shallow"] {
    set title family
    plot for [letters in "NN NT TN TT"] points \
           using ((strcol(1) eq family && strcol(2) eq letters) ? $3 : NaN):column_of with lines title letters, \
         1 with lines dashtype 2 linecolor "black" notitle
  }
}
unset multiplot
