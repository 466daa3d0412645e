# Holds figures of `sensorcal stats` and `grr` against those of R: scripts/compare_statistics calls it where R is there, with
# the folder of what sensorcal said, the values, and the study's file. Debian: r-base-core, r-cran-jsonlite,
# r-cran-nortest, r-cran-lme4.
suppressPackageStartupMessages({
  library(jsonlite)
  library(nortest)
  library(lme4)
})
arguments <- commandArgs(trailingOnly = TRUE)
folder <- arguments[1]
said <- function(name) fromJSON(file.path(folder, name), simplifyVector = FALSE)
digits <- 1e-6
checked <- 0
missed <- 0
worst <- 0

expect <- function(what, found, wanted) {
  checked <<- checked + 1
  error <- if (is.null(found) || is.na(wanted)) as.numeric(is.null(found) != is.na(wanted)) else abs(found - wanted) / max(abs(wanted), 1e-300)
  worst <<- max(worst, error)
  if (error > digits) {
    missed <<- missed + 1
    cat(sprintf("%s: sensorcal %s, R %.12g\n", what, format(found, digits = 12), wanted))
  }
}
interval <- function(what, found, wanted) {
  expect(paste(what, "low"), found$low, wanted[1])
  expect(paste(what, "high"), found$high, wanted[2])
}
of_both <- function(what, found, value, freedom) {
  expect(what, found$value, value)
  interval(what, found, value * sqrt(qchisq(c(0.025, 0.975), freedom) / freedom))
}

values <- said("values.json")
for (m in said("stats.json")$measurements) {
  what <- paste(m$plan, m$name, sep = ", ")
  days <- lapply(values[[paste(m$plan, m$name, sep = "|")]], unlist)
  all <- unlist(days)
  day <- factor(rep(seq_along(days), lengths(days)))
  expect(paste(what, "mean"), m$mean, mean(all))
  expect(paste(what, "sigma"), m$sigma, sd(all))
  expect(paste(what, "median"), m$outliers$median, median(all))
  expect(paste(what, "robust sigma"), m$outliers$sigma, mad(all))
  test <- ad.test(all)
  a2 <- unname(test$statistic) * (1 + 0.75 / length(all) + 2.25 / length(all)^2)
  if (is.finite(a2) && test$p.value > 1e-20) {
    expect(paste(what, "A2"), m$normality$a2, a2)
    if (test$p.value > 3.7e-24) expect(paste(what, "p"), m$normality$p, test$p.value)
  }
  if (nlevels(day) < length(all)) {
    table <- suppressWarnings(anova(lm(all ~ day)))  # also of values that hardly differ
    within <- sqrt(table["Residuals", "Mean Sq"])
    expect(paste(what, "sigma within"), m$capability$sigma_within, within)
    if (!is.null(m$low) && !is.null(m$high))
      of_both(paste(what, "Cp"), m$capability$cp, (m$high - m$low) / 6 / within, table["Residuals", "Df"])
  }
  if (!is.null(m$low) && !is.null(m$high))
    of_both(paste(what, "Pp"), m$capability$pp, (m$high - m$low) / 6 / sd(all), length(all) - 1)
  if (length(all) >= 741) {
    at <- quantile(all, c(0.00135, 0.5, 0.99865), type = 7, names = FALSE)
    sides <- c(if (!is.null(m$low)) (at[2] - m$low) / (at[2] - at[1]), if (!is.null(m$high)) (m$high - at[2]) / (at[3] - at[2]))
    expect(paste(what, "percentile Ppk"), m$percentile$ppk, min(sides))
  }
  line <- lm(sapply(days, mean) ~ seq_along(days), weights = lengths(days))
  expect(paste(what, "drift"), m$drift$a_day$value, unname(coef(line)[2]))
  interval(paste(what, "drift"), m$drift$a_day, confint(line)[2, ])
}
for (m in said("compared.json")$measurements) {
  what <- paste(m$plan, m$name, "sides", sep = ", ")
  days <- lapply(values[[paste(m$plan, m$name, sep = "|")]], unlist)
  half <- said("half.json")
  a <- unlist(days[seq_len(half)])
  b <- unlist(days[-seq_len(half)])
  interval(paste(what, "difference"), m$difference, t.test(b, a)$conf.int)
  interval(paste(what, "ratio"), m$ratio_of_sigmas, sqrt(var.test(b, a)$conf.int))
}

readings <- read.csv(arguments[2])
for (column in c("phone", "station")) readings[[column]] <- factor(readings[[column]])
study <- said("grr.json")$studies[[1]]
table <- anova(lm(value ~ phone * station, readings))
for (i in 1:4) {
  row <- study$anova[[i]]
  expect(paste(row$source, "sum of squares"), row$sum_of_squares, table[i, "Sum Sq"])
  expect(paste(row$source, "degrees of freedom"), row$degrees_of_freedom, table[i, "Df"])
}
for (i in 1:2) expect("F", study$anova[[i]]$f, table[i, "Mean Sq"] / table[3, "Mean Sq"])
# Balanced, and no component is at zero: restricted maximum likelihood is the analysis of variance.
fit <- lmer(value ~ 1 + (1 | phone) + (1 | station), readings,
            control = lmerControl(optimizer = "bobyqa", optCtrl = list(rhobeg = 0.1, rhoend = 1e-10)))
parts <- as.data.frame(VarCorr(fit))
for (pair in list(c("repeatability", "Residual"), c("phone to phone", "phone"), c("stations", "station"))) {
  found <- Filter(function(c) c$source == pair[1], study$components)[[1]]
  expect(paste(pair[1], "by lme4"), found$sigma, parts$sdcor[parts$grp == pair[2]])
}
cat(sprintf("R %s: %d figures, %d beyond %g; the farthest is off by %.1e\n", getRversion(), checked, missed, digits, worst))
quit(status = as.integer(missed > 0))
