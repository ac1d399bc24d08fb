# What all pictures share. Their own background lets them be read on a dark page too.
set encoding utf8
set terminal svg noenhanced size width, height font "sans-serif,13" background "#ffffff" name "figures"
set output output
set datafile separator "\t"
set border 3 linecolor rgb "#555555"
set tics nomirror textcolor rgb "#222222"
set grid linecolor rgb "#dddddd" linewidth 1 linetype 1
set key textcolor rgb "#222222"
# Told apart by those who see few colours too.
array colors[8] = ["#0072b2", "#d55e00", "#009e73", "#cc79a7", "#56b4e9", "#b8860b", "#555555", "#7b3294"]
color(i) = colors[(i - 1) % 8 + 1]
