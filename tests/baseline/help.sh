# What each command says of itself.
for command in "" run fit orbit propagate simulate tle crd tide report "plot errors" "plot residuals" "plot satellites" "plot sky" "plot track"; do
  leopod $command --help
done
