# gnuplot -c peers.gp DATA OUTPUT STYLE: what the library takes, in parts of what a peer takes.
data = ARG1; output = ARG2; width = 900
stats data using 1 nooutput
lines = int(STATS_max)
height = 110 + 24 * lines
load ARG3
set title "CPU time beside programs written by hand" textcolor rgb "#222222"
set xlabel "times what the peer takes, logarithmic; left of 1 is less"
set logscale x
set xrange [0.02:4]
set xtics ("1/50" 0.02, "1/20" 0.05, "1/10" 0.1, "1/5" 0.2, "1/2" 0.5, "1" 1, "2" 2, "4" 4)
set yrange [lines + 0.6:0.4]
set grid noytics
set style fill solid 1 noborder
set key outside top right
set arrow from 1, 0.4 to 1, lines + 0.6 nohead linecolor rgb "#222222" linewidth 1.5 front
lower(r) = r < 1 ? r : 1
upper(r) = r < 1 ? 1 : r
plot data using 3:1:(lower($3)):(upper($3)):($1 - 0.32):($1 + 0.32):ytic(2) \
       with boxxyerror linecolor rgb color(5) title "measured", \
     data using 4:1 with points pointtype 9 pointsize 0.9 linecolor rgb color(2) title "goal, at most"
