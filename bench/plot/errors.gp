# gnuplot -c errors.gp DATA OUTPUT STYLE: how many positions are how far off.
data = ARG1; output = ARG2; width = 900; height = 480
load ARG3
set title "Errors in the invented town" textcolor rgb "#222222"
set xlabel "metres from the truth, logarithmic"
set ylabel "of 100 positions, so many are nearer"
set logscale x
set xrange [1:2000]
set yrange [0:100]
stats data using 1 nooutput
set key outside right top
plot for [i = 0:STATS_blocks - 1] data index i using 1:($2 * 100) \
  with lines linewidth 2 linecolor rgb color(i / 2 + 1) dashtype 1 + i % 2 title columnheader(1)
