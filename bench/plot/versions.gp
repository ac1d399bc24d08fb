# gnuplot -c versions.gp DATA OUTPUT STYLE: how the quotients changed from version to version.
data = ARG1; output = ARG2; width = 900; height = 520
load ARG3
set title "Instructions, in parts of a peer's, from version to version" textcolor rgb "#222222"
set ylabel "times what the peer takes, logarithmic"
set logscale y
set ytics ("1/20" 0.05, "1/10" 0.1, "1/5" 0.2, "1/3" 0.333, "1/2" 0.5, "1" 1, "2" 2, "3" 3, "5" 5, "10" 10)
stats data using 1 nooutput
curves = STATS_blocks
set xrange [0.8:STATS_max + 0.2]
set key outside right top
plot for [i = 0:curves - 1] data index i using 1:2:xtic(3) \
  with linespoints linewidth 2 pointtype 7 pointsize 0.6 linecolor rgb color(i + 1) \
  dashtype 1 + i / 8 title columnheader(1)
