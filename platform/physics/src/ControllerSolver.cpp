#include "ControllerSolver.h"

#include <algorithm>
#include <cmath>
#include <cstring>

#include "PhysicsAccess.h"

namespace qorSDK::detail {
namespace {

using qor::detail::PhysicsAccess;

// Sweeps stop once no row changes its acceleration by more than this, relative to the largest
// acceleration asked for: far below what a step can resolve. It also bounds how hard a row held
// at a bound may pull away from it before the exact solve is refused.
constexpr double kRelativeTolerance = 1e-13;
// A bound on the work of one step, for ill-posed sets of targets (a lock and a motor on the same
// joint, both unlimited, asking for different speeds) that have no solution to converge to.
constexpr int kMaxSweeps = 500;
// The largest speed a row may ask for: MuJoCo resets the state at any speed beyond it.
constexpr double kHugeSpeed = mjMAXVAL;
// Marks a row held at one of its bounds in ControllerSolver::m_slot.
constexpr std::size_t kAtBound = static_cast<std::size_t>(-1);

bool hasDamping(const mjModel* m) {
    for (int i = 0; i < m->nv; ++i) {
        if (m->dof_damping[i] > 0) {
            return true;
        }
    }
    return false;
}

std::size_t size(int count) {
    return static_cast<std::size_t>(count);
}

}  // namespace

void ControllerSolver::reserve(const mjModel* m, std::size_t constraints) {
    const std::size_t rows = 2 * constraints;
    const std::size_t nv = size(m->nv);
    m_rows.reserve(rows);
    m_freeForce.resize(nv);
    m_freeAcceleration.resize(nv);
    m_units.reserve(rows * nv);
    m_columns.reserve(rows * nv);
    m_response.reserve(rows * rows);
    m_wanted.reserve(rows);
    m_free.reserve(rows);
    m_slot.reserve(rows);
    m_system.reserve(rows * rows);
    m_solution.reserve(rows);
    m_changes.reserve(rows);
    // MuJoCo's Euler integrator (2.2) treats joint damping implicitly: the velocity update uses
    // M + dt * damping instead of M. The controllers must see the same response or a lock drifts.
    m_implicitDamping = m->opt.integrator == mjINT_EULER && hasDamping(m);
    if (m_implicitDamping) {
        m_savedDiagonal.resize(nv);
        m_savedFactor.resize(size(m->nM) + 2 * nv);
    }
}

void ControllerSolver::apply(const mjModel* m, mjData* d,
                             const std::vector<qor::ref_ptr<qor::Constraint1DOF>>& constraints) {
    mju_zero(d->qfrc_applied, m->nv);
    m_rows.clear();
    m_changes.clear();
    m_lastSweeps = 0;
    const double dt = m->opt.timestep;
    for (const qor::ref_ptr<qor::Constraint1DOF>& constraint : constraints) {
        const int dof = PhysicsAccess::dof(*constraint);
        qor::LockController& lock = *constraint->getLock1D();
        qor::TargetSpeedController& motor = *constraint->getMotor1D();
        addController(d, lock, dof, true, lock.getPosition(),
                      (lock.getPosition() - constraint->getAngle()) / dt);
        addController(d, motor, dof, false, motor.getSpeed(), motor.getSpeed());
    }
    if (!m_rows.empty()) {
        solveRows(m, d);
        for (const Row& row : m_rows) {
            d->qfrc_applied[row.dof] += row.force;
            PhysicsAccess::setCurrentForce(*row.controller, row.force);
        }
    }
    findHugeForce(m, d);
}

void ControllerSolver::findHugeForce(const mjModel* m, const mjData* d) {
    m_hugeForceDof = -1;
    double largest = 0.0;
    for (int i = 0; i < m->nv; ++i) {
        const double force = d->qfrc_applied[i];
        if (std::isnan(force)) {
            m_hugeForceDof = i;
            return;
        }
        if (std::abs(force) > mjMAXVAL && std::abs(force) > largest) {
            largest = std::abs(force);
            m_hugeForceDof = i;
        }
    }
}

ControllerSolver::Fault ControllerSolver::checkUsable(qor::ElementaryConstraint& controller,
                                                      int dof, bool isLock, double target,
                                                      qor::Range<double> range) {
    // A range (f, f) applies f whatever the target, so only a range that is not a single value
    // makes the target matter.
    Fault fault = Fault::NONE;
    if (std::isnan(range.lower) || std::isnan(range.upper) ||
        (range.lower == range.upper && std::isinf(range.lower))) {
        fault = Fault::FORCE_RANGE;
    } else if (range.lower != range.upper && !std::isfinite(target)) {
        fault = isLock ? Fault::TARGET_POSITION : Fault::TARGET_SPEED;
    }
    const bool leftOut = fault != Fault::NONE;
    if (leftOut != PhysicsAccess::isLeftOut(controller)) {
        PhysicsAccess::setLeftOut(controller, leftOut);
        m_changes.push_back(LeftOutChange{dof, isLock, fault, target, range});
    }
    return fault;
}

void ControllerSolver::addController(mjData* d, qor::ElementaryConstraint& controller, int dof,
                                     bool isLock, double target, double targetSpeed) {
    const qor::Range<double> range = controller.getForceRange(0);
    if (!controller.getEnable()) {
        // Switched off on purpose: when it comes back with a target it cannot use, that is news.
        PhysicsAccess::setLeftOut(controller, false);
        PhysicsAccess::setCurrentForce(controller, 0.0);
        return;
    }
    if (checkUsable(controller, dof, isLock, target, range) != Fault::NONE) {
        PhysicsAccess::setCurrentForce(controller, 0.0);
        return;
    }
    // Ranges are stored as the user set them; a reversed one still means the interval between
    // its bounds.
    const double lower = std::min(range.lower, range.upper);
    const double upper = std::max(range.lower, range.upper);
    if (lower == upper) {
        // Exactly this force, whatever the target: adding it (even 0) changes nothing else in
        // the step, so (0, 0) everywhere is the same as no controllers at all.
        d->qfrc_applied[dof] += lower;
        PhysicsAccess::setCurrentForce(controller, lower);
        return;
    }
    if (!(std::abs(targetSpeed) <= kHugeSpeed)) {
        // A target this far away (a position of 1e308 is an infinite speed within one step) is
        // out of reach whatever force is applied: the controller pushes as hard as its range lets
        // it. A rigid one asks for the largest speed MuJoCo accepts instead of an infinite one.
        const double bound = targetSpeed > 0 ? upper : lower;
        if (std::isfinite(bound)) {
            d->qfrc_applied[dof] += bound;
            PhysicsAccess::setCurrentForce(controller, bound);
            return;
        }
        targetSpeed = std::copysign(kHugeSpeed, targetSpeed);
    }
    // Warm start from the last step's force: a held joint needs nearly the same force again. A
    // force that went bad (a NaN target) must not poison every later step. Rows sharing a degree
    // of freedom start from nothing: when neither can give way their split is not determined,
    // and carrying it over would let the two opposing forces grow from step to step.
    const double last = PhysicsAccess::currentForce(controller);
    double start = std::clamp(std::isfinite(last) ? last : 0.0, lower, upper);
    for (Row& other : m_rows) {
        if (other.dof == dof) {
            other.force = std::clamp(0.0, other.lower, other.upper);
            start = std::clamp(0.0, lower, upper);
        }
    }
    m_rows.push_back(Row{&controller, dof, lower, upper, targetSpeed, start});
}

void ControllerSolver::computeResponse(const mjModel* m, mjData* d) {
    const std::size_t nv = size(m->nv);
    const std::size_t n = m_rows.size();
    const double dt = m->opt.timestep;

    // The generalised force the integrator will see apart from the iterated controllers: what
    // mj_fwdAcceleration sums into qfrc_smooth, with the fixed controller forces already in
    // qfrc_applied. Actuator forces are only computed in mj_step2, so they are computed here too.
    if (m->nu > 0) {
        mj_fwdActuation(m, d);
    }
    for (std::size_t i = 0; i < nv; ++i) {
        m_freeForce[i] =
            d->qfrc_passive[i] - d->qfrc_bias[i] + d->qfrc_applied[i] + d->qfrc_actuator[i];
    }
    for (int body = 1; body < m->nbody; ++body) {
        mjtNum* wrench = d->xfrc_applied + 6 * size(body);
        if (mju_isZero(wrench, 6) == 0) {
            mj_applyFT(m, d, wrench, wrench + 3, d->xipos + 3 * size(body), body,
                       m_freeForce.data());
        }
    }

    m_units.assign(n * nv, 0.0);
    m_columns.resize(n * nv);
    for (std::size_t k = 0; k < n; ++k) {
        m_units[k * nv + size(m_rows[k].dof)] = 1.0;
    }

    const std::size_t nM = size(m->nM);
    if (m_implicitDamping) {
        // Factor M + dt * damping exactly as mj_Euler does, in MuJoCo's own arrays, and put the
        // factorisation of M back afterwards, bit for bit.
        std::memcpy(m_savedFactor.data(), d->qLD, nM * sizeof(double));
        std::memcpy(m_savedFactor.data() + nM, d->qLDiagInv, nv * sizeof(double));
        std::memcpy(m_savedFactor.data() + nM + nv, d->qLDiagSqrtInv, nv * sizeof(double));
        for (std::size_t i = 0; i < nv; ++i) {
            const std::size_t address = size(m->dof_Madr[i]);
            m_savedDiagonal[i] = d->qM[address];
            d->qM[address] += dt * m->dof_damping[i];
        }
        mj_factorM(m, d);
    }
    mj_solveM(m, d, m_freeAcceleration.data(), m_freeForce.data(), 1);
    mj_solveM(m, d, m_columns.data(), m_units.data(), static_cast<int>(n));
    if (m_implicitDamping) {
        for (std::size_t i = 0; i < nv; ++i) {
            d->qM[size(m->dof_Madr[i])] = m_savedDiagonal[i];
        }
        std::memcpy(d->qLD, m_savedFactor.data(), nM * sizeof(double));
        std::memcpy(d->qLDiagInv, m_savedFactor.data() + nM, nv * sizeof(double));
        std::memcpy(d->qLDiagSqrtInv, m_savedFactor.data() + nM + nv, nv * sizeof(double));
    }
}

void ControllerSolver::solveRows(const mjModel* m, mjData* d) {
    const std::size_t nv = size(m->nv);
    const std::size_t n = m_rows.size();
    const double dt = m->opt.timestep;
    computeResponse(m, d);

    // The block of R between the rows' degrees of freedom (R is symmetric) and the acceleration
    // each row asks for beyond the free one.
    m_response.resize(n * n);
    m_wanted.resize(n);
    double largestWanted = 0.0;
    for (std::size_t k = 0; k < n; ++k) {
        const std::size_t dof = size(m_rows[k].dof);
        for (std::size_t j = 0; j < n; ++j) {
            m_response[k * n + j] = m_columns[j * nv + dof];
        }
        m_wanted[k] = (m_rows[k].targetSpeed - d->qvel[dof]) / dt - m_freeAcceleration[dof];
        largestWanted = std::max(largestWanted, std::abs(m_wanted[k]));
    }

    const double tolerance = kRelativeTolerance * (1.0 + largestWanted);
    for (int sweep = 1; sweep <= kMaxSweeps; ++sweep) {
        m_lastSweeps = sweep;
        const bool settled = !(this->sweep() > tolerance);
        if (polish(tolerance) || settled) {
            return;
        }
    }
}

double ControllerSolver::sweep() {
    const std::size_t n = m_rows.size();
    double largestChange = 0.0;
    for (std::size_t k = 0; k < n; ++k) {
        Row& row = m_rows[k];
        const double* response = m_response.data() + k * n;
        const double diagonal = response[k];
        if (!(diagonal > 0.0)) {
            continue;
        }
        double missing = m_wanted[k];
        for (std::size_t j = 0; j < n; ++j) {
            missing -= response[j] * m_rows[j].force;
        }
        const double updated = std::clamp(row.force + missing / diagonal, row.lower, row.upper);
        largestChange = std::max(largestChange, std::abs(updated - row.force) * diagonal);
        row.force = updated;
    }
    return largestChange;
}

bool ControllerSolver::polish(double tolerance) {
    const std::size_t n = m_rows.size();
    m_free.clear();
    m_slot.assign(n, kAtBound);
    for (std::size_t k = 0; k < n; ++k) {
        if (m_rows[k].force > m_rows[k].lower && m_rows[k].force < m_rows[k].upper) {
            m_slot[k] = m_free.size();
            m_free.push_back(k);
        }
    }
    const std::size_t f = m_free.size();

    // R_FF x = wanted_F - R_FB force_B, by Cholesky: R_FF is a principal block of a positive
    // definite matrix, unless two rows act on the same degree of freedom.
    m_system.resize(f * f);
    m_solution.resize(f);
    for (std::size_t a = 0; a < f; ++a) {
        const double* response = m_response.data() + m_free[a] * n;
        double right = m_wanted[m_free[a]];
        for (std::size_t j = 0; j < n; ++j) {
            if (m_slot[j] == kAtBound) {
                right -= response[j] * m_rows[j].force;
            }
        }
        m_solution[a] = right;
        for (std::size_t b = 0; b < f; ++b) {
            m_system[a * f + b] = response[m_free[b]];
        }
    }
    for (std::size_t a = 0; a < f; ++a) {
        for (std::size_t b = 0; b <= a; ++b) {
            double sum = m_system[a * f + b];
            for (std::size_t c = 0; c < b; ++c) {
                sum -= m_system[a * f + c] * m_system[b * f + c];
            }
            if (a == b) {
                // Relative to the diagonal: a pivot lost to rounding means the rows are
                // dependent, and the split of the force between them is not determined.
                if (!(sum > 1e-12 * m_response[m_free[a] * n + m_free[a]])) {
                    return false;
                }
                m_system[a * f + a] = std::sqrt(sum);
            } else {
                m_system[a * f + b] = sum / m_system[b * f + b];
            }
        }
    }
    for (std::size_t a = 0; a < f; ++a) {
        for (std::size_t c = 0; c < a; ++c) {
            m_solution[a] -= m_system[a * f + c] * m_solution[c];
        }
        m_solution[a] /= m_system[a * f + a];
    }
    for (std::size_t a = f; a-- > 0;) {
        for (std::size_t c = a + 1; c < f; ++c) {
            m_solution[a] -= m_system[c * f + a] * m_solution[c];
        }
        m_solution[a] /= m_system[a * f + a];
    }

    for (std::size_t a = 0; a < f; ++a) {
        const Row& row = m_rows[m_free[a]];
        if (!(m_solution[a] >= row.lower && m_solution[a] <= row.upper)) {
            return false;
        }
    }
    // Every row held at a bound must be pushing against it; otherwise more sweeps are needed
    // to free it.
    for (std::size_t k = 0; k < n; ++k) {
        const Row& row = m_rows[k];
        if (m_slot[k] != kAtBound) {
            continue;
        }
        double missing = m_wanted[k];
        for (std::size_t j = 0; j < n; ++j) {
            const double force = m_slot[j] != kAtBound ? m_solution[m_slot[j]] : m_rows[j].force;
            missing -= m_response[k * n + j] * force;
        }
        if ((row.force == row.upper && missing < -tolerance) ||
            (row.force == row.lower && missing > tolerance)) {
            return false;
        }
    }
    for (std::size_t a = 0; a < f; ++a) {
        m_rows[m_free[a]].force = m_solution[a];
    }
    return true;
}

}  // namespace qorSDK::detail
