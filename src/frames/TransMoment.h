// Orientation of the transition moment. Triples run a, b, c (= z, x, y).
#pragma once

/// Writes the components of the moment into `comp` and its projections into Kiv.TM_Prj, turned by
/// `g` when the Euler angles of `ref_state` are not all zero; sets Band_Active. Logs both.
///
/// Method 0: `in` is the squared magnitude and the angles THE from a, CHI from b toward c
/// (degrees): comp = sqrt|MAG| (cos THE, sin THE cos CHI, sin THE sin CHI). Method 1: `in` is the
/// percent intensity p on a, b, c: comp = sign(p) sqrt(0.01 |p|). Any other method leaves `comp`.
/// A projection of more than 1e-5 makes its band type active. Always 1.
int TransMomentOrient(int method, int ref_state, const double in[3], const double g[3][3],
                      double comp[3]);
