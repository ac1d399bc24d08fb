# gnuplot -c growth.gp DATA OUTPUT STYLE: what one of so many takes.
data = ARG1; output = ARG2; width = 900; height = 480
load ARG3
set title "What one request takes while so many are there" textcolor rgb "#222222"
set xlabel "requests"
set ylabel "nanoseconds for each"
set logscale xy
set xrange [800:125000]
set xtics ("1,000" 1000, "10,000" 10000, "100,000" 100000)
stats data using 1 nooutput
set key outside right top
plot for [i = 0:STATS_blocks - 1] data index i using 1:2 \
  with linespoints linewidth 2 pointtype 7 pointsize 0.6 linecolor rgb color(i + 1) title columnheader(1)
