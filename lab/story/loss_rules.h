// The scenario's `loss` lines: handed to the air, and told on the rows of those whom they befall.
#ifndef LAB_LOSS_RULES_H
#define LAB_LOSS_RULES_H

namespace lab {

struct Scenario;
struct Story;

// Lets the scenario's rules of loss count, over those there are.
void add_losses(Story& story, const Scenario& scenario);
// All of them anew, for whoever is there now.
void apply_losses(Story& story);

}  // namespace lab

#endif
