// Householder factors against what they are: Q has orthonormal columns, and Q R is the matrix.
#include "linalg/Qr.h"

#include <gtest/gtest.h>

#include <cmath>
#include <random>
#include <vector>

namespace kiv {
namespace {

TEST(Qr, FactorsMakeTheMatrix) {
    for (const auto& [rows, columns] :
         {std::pair<std::size_t, std::size_t>{1, 1}, {5, 5}, {23, 4}}) {
        std::mt19937 random(3);
        std::uniform_real_distribution<double> number(-1.0, 1.0);
        std::vector<std::vector<double>> a(columns, std::vector<double>(rows));
        for (auto& column : a) {
            for (double& x : column) x = number(random);
        }
        if (columns > 2) a[2].assign(rows, 0.0);
        QrFactors factors;
        ASSERT_TRUE(factors.Take(Memory(), rows, columns));
        for (std::size_t k = 0; k < columns; ++k) {
            std::copy(a[k].begin(), a[k].end(), factors.Column(k));
        }
        factors.Factorise();
        for (std::size_t k = 0; k < columns; ++k) {
            std::vector<double> product(factors.stride()), column(factors.stride());
            for (std::size_t i = 0; i <= k; ++i) product[i] = factors.R(i, k);
            factors.MultiplyByQ(product.data(), k + 1);
            std::copy(a[k].begin(), a[k].end(), column.begin());
            factors.MultiplyByTransposed(column.data());
            double length = 0.0, turned = 0.0;
            for (std::size_t i = 0; i < rows; ++i) {
                EXPECT_NEAR(product[i], a[k][i], 1e-14);
                EXPECT_NEAR(column[i], i <= k ? factors.R(i, k) : 0.0, 1e-14);
                length += a[k][i] * a[k][i];
                turned += column[i] * column[i];
            }
            EXPECT_NEAR(turned, length, 1e-13);
        }
    }
}

}  // namespace
}  // namespace kiv
